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

// Absent for anything that base64Text would not write: other characters, white space, missing padding, bits
// left over.
std::optional<std::vector<std::byte>> bytesFromBase64(std::string_view text);

}  // namespace tolvander
