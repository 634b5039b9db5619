#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace tolvander {

// Text of which only the letters A to Z have two cases: file extensions, keywords and protocol names. For
// text in a language, see lowercased() in Platform/Text.h.

constexpr char lowercasedASCII(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

inline std::string lowercasedASCII(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char character) { return lowercasedASCII(character); });
  return lower;
}

}  // namespace tolvander
