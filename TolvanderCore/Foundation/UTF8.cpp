#include "TolvanderCore/Foundation/UTF8.h"

namespace tolvander {

namespace {

// The length of a sequence by its first byte, and the range of its second byte.
struct Form {
  std::size_t length;
  unsigned char secondMinimum;
  unsigned char secondMaximum;
};

Form formFor(unsigned char lead) {
  if (lead < 0x80) {
    return {1, 0, 0};
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    return {2, 0x80, 0xBF};
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    // Excludes overlong sequences and surrogates.
    return {3, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    // Excludes code points above U+10FFFF.
    return {4, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0};
}

}  // namespace

UTF8Sequence firstUTF8Sequence(std::string_view text) {
  const Form form = formFor(static_cast<unsigned char>(text.front()));
  if (form.length == 0) {
    return {.length = 1, .isWellFormed = false};
  }
  for (std::size_t index = 1; index < form.length; ++index) {
    const unsigned char minimum = index == 1 ? form.secondMinimum : 0x80;
    const unsigned char maximum = index == 1 ? form.secondMaximum : 0xBF;
    if (index >= text.size() || static_cast<unsigned char>(text[index]) < minimum ||
        static_cast<unsigned char>(text[index]) > maximum) {
      return {.length = index, .isWellFormed = false};
    }
  }
  return {.length = form.length, .isWellFormed = true};
}

}  // namespace tolvander
