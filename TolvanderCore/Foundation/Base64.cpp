#include "TolvanderCore/Foundation/Base64.h"

#include <algorithm>
#include <cstdint>

namespace tolvander {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string base64Text(std::span<const std::byte> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t start = 0; start < bytes.size(); start += 3) {
    const auto group = bytes.subspan(start, std::min<std::size_t>(3, bytes.size() - start));
    std::uint32_t bits = 0;
    for (std::size_t index = 0; index < 3; ++index) {
      bits = bits << 8U | (index < group.size() ? std::to_integer<std::uint32_t>(group[index]) : 0);
    }
    for (std::size_t digit = 0; digit < 4; ++digit) {
      text += digit <= group.size() ? alphabet[bits >> (18 - 6 * digit) & 63U] : '=';
    }
  }
  return text;
}

std::optional<std::vector<std::byte>> bytesFromBase64(std::string_view text) {
  if (text.size() % 4 != 0) {
    return std::nullopt;
  }
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  std::vector<std::byte> bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const bool isPadding = index >= text.size() - padding;
    const std::size_t value = isPadding ? 0 : alphabet.find(text[index]);
    if (value == std::string_view::npos) {
      return std::nullopt;
    }
    bits = bits << 6U | static_cast<std::uint32_t>(value);
    if (index % 4 == 3) {
      bytes.push_back(static_cast<std::byte>(bits >> 16U & 0xFFU));
      bytes.push_back(static_cast<std::byte>(bits >> 8U & 0xFFU));
      bytes.push_back(static_cast<std::byte>(bits & 0xFFU));
      bits = 0;
    }
  }
  bytes.resize(bytes.size() - padding);
  // The unused bits before the padding must be zero, so that each byte sequence has one text only.
  return base64Text(bytes) == text ? std::optional(std::move(bytes)) : std::nullopt;
}

}  // namespace tolvander
