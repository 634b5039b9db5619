#include "TolvanderApp/Presentation/Wording.h"

#include <array>
#include <cmath>

#include "TolvanderCore/UTF8.h"

namespace tolvander::app {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

bool isControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  const bool isC1 = sequence.size() == 2 && first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
  return first < 0x20 || first == 0x7F || isC1;
}

std::string withThousands(std::int64_t number) {
  std::string text = std::to_string(number);
  const std::size_t firstDigit = text.starts_with('-') ? 1 : 0;
  for (std::size_t position = text.size(); position > firstDigit + 3;) {
    position -= 3;
    text.insert(position, 1, ',');
  }
  return text;
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

std::string counted(std::int64_t count, std::string_view singular, std::string_view plural) {
  return withThousands(count) + " " + std::string(count == 1 ? singular : plural);
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

}  // namespace tolvander::app
