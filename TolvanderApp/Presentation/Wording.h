#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tolvander::app {

// `text` as it can be shown on a terminal: control characters and bytes that are no UTF-8 become U+FFFD, so
// that a file name can neither move the cursor nor break a line.
std::string printable(std::string_view text);

// "1 file", "2 files", with the thousands of large numbers set apart: "10,000 files".
std::string counted(std::int64_t count, std::string_view singular, std::string_view plural);

// A size in bytes for people: "0 bytes", "1 byte", "901 KB", "1.2 GB". Units are powers of 1000, as file
// managers count.
std::string byteCountText(std::int64_t bytes);

}  // namespace tolvander::app
