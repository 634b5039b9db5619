#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

// Base64 with the standard alphabet and padding (RFC 4648, section 4).

std::string base64Text(std::span<const std::byte> bytes);

// Absent for any text that base64Text doesn't produce: other characters, white space, missing padding,
// non-zero unused bits.
std::optional<std::vector<std::byte>> bytesFromBase64(std::string_view text);

}  // namespace tolvander
