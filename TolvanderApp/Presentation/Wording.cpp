#include "TolvanderApp/Presentation/Wording.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Foundation/UTF8.h"

namespace tolvander::app {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

bool isControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  const bool isC1 = sequence.size() == 2 && first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
  return first < 0x20 || first == 0x7F || isC1;
}

// One decimal below ten, none above.
std::string shortNumber(double number) {
  const auto tenths = static_cast<std::int64_t>(std::llround(number * 10));
  if (tenths >= 100 || tenths % 10 == 0) {
    return std::to_string(std::llround(number));
  }
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    const std::string_view bytes = text.substr(0, sequence.length);
    shown += sequence.isWellFormed && !isControl(bytes) ? bytes : replacementCharacter;
    text.remove_prefix(sequence.length);
  }
  return shown;
}

std::string byteCountText(std::int64_t bytes) {
  constexpr std::array units = {"KB", "MB", "GB", "TB", "PB", "EB"};
  if (bytes < 1000) {
    return counted(bytes, "byte", "bytes");
  }
  auto number = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; number >= 999.5 && unit + 1 < units.size(); ++unit) {
    number /= 1000;
  }
  return shortNumber(number) + " " + units[unit];
}

std::string decimalText(double number) {
  const std::int64_t thousandths = std::llround(number * 1000);
  std::string decimals = std::to_string(1000 + thousandths % 1000).substr(1);
  decimals.erase(decimals.find_last_not_of('0') + 1);
  return std::to_string(thousandths / 1000) + (decimals.empty() ? "" : ".") + decimals;
}

std::string pixelSizeText(std::int64_t width, std::int64_t height) {
  return std::to_string(width) + " × " + std::to_string(height) + " pixels";
}

std::string fourCharacterCodeText(std::uint32_t code) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string characters;
  for (int shift = 24; shift >= 0; shift -= 8) {
    characters += static_cast<char>((code >> static_cast<unsigned>(shift)) & 0xFFU);
  }
  if (std::ranges::all_of(characters, [](char character) { return character >= ' ' && character <= '~'; })) {
    return characters;
  }
  std::string number = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    number += digits[(code >> static_cast<unsigned>(shift)) & 0xFU];
  }
  return number;
}

std::string joinedWithDots(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& text : texts) {
    line += (line.empty() ? "" : " · ") + text;
  }
  return line;
}

std::string failureOfFile(const std::optional<std::string>& file, const std::string& words) {
  return (file ? printable(*file) + ": " : "") + words;
}

std::string factLine(std::string_view label, std::string_view value) {
  constexpr std::size_t columnOfValues = 21;
  std::string line(label);
  line.resize(std::max(columnOfValues, label.size() + 1), ' ');
  return line + std::string(value) + "\n";
}

}  // namespace tolvander::app
