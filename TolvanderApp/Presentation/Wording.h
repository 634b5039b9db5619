#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander::app {

// `text` as it can be shown on a terminal: control characters and bytes that are no UTF-8 become U+FFFD, so
// that a file name can neither move the cursor nor break a line.
std::string printable(std::string_view text);

// A size in bytes for people: "0 bytes", "1 byte", "901 KB", "1.2 GB". Units are powers of 1000, as file
// managers count.
std::string byteCountText(std::int64_t bytes);

// A number from 0 to 10^15 with at most three decimals and no zeros at its end: "30", "29.97".
std::string decimalText(double number);

// "1440 × 1080 pixels", without a mark between the thousands, as sizes of pictures are written.
std::string pixelSizeText(std::int64_t width, std::int64_t height);

// A four-character code, first character highest: "jpeg". As a number where it has other than printable ASCII
// characters: "0x6d730011".
std::string fourCharacterCodeText(std::uint32_t code);

// The texts on one line, with " · " between them. Empty without any.
std::string joinedWithDots(const std::vector<std::string>& texts);

// The words of a failure, behind the name of the file that it is about, if it is about one.
std::string failureOfFile(const std::optional<std::string>& file, const std::string& words);

// One fact of a list, with its line end: `label`, blanks up to the column of the values, `value`.
std::string factLine(std::string_view label, std::string_view value);

}  // namespace tolvander::app
