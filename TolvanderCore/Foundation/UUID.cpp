#include "TolvanderCore/Foundation/UUID.h"

#include <unistd.h>

#include "TolvanderCore/Foundation/HashCombine.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

namespace {

bool dashStandsBefore(std::size_t byteIndex) {
  return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

std::optional<unsigned> hexadecimalDigit(char character) {
  if (character >= '0' && character <= '9') {
    return static_cast<unsigned>(character - '0');
  }
  const char lower = static_cast<char>(character | 0x20);
  if (lower >= 'a' && lower <= 'f') {
    return static_cast<unsigned>(lower - 'a' + 10);
  }
  return std::nullopt;
}

}  // namespace

UUID UUID::random() {
  UUID uuid;
  precondition(getentropy(uuid.bytes.data(), uuid.bytes.size()) == 0, "the system has random bytes");
  uuid.bytes[6] =
      static_cast<std::uint8_t>((uuid.bytes[6] & 0x0FU) | 0x40U);  // version 4 (RFC 9562, section 5.4)
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3FU) | 0x80U);  // variant (section 4.1)
  return uuid;
}

std::optional<UUID> UUID::fromText(std::string_view text) {
  constexpr std::size_t length = 36;
  if (text.size() != length) {
    return std::nullopt;
  }
  UUID uuid;
  std::size_t position = 0;
  for (std::size_t index = 0; index < uuid.bytes.size(); ++index) {
    if (dashStandsBefore(index) && text[position++] != '-') {
      return std::nullopt;
    }
    const auto high = hexadecimalDigit(text[position++]);
    const auto low = hexadecimalDigit(text[position++]);
    if (!high || !low) {
      return std::nullopt;
    }
    uuid.bytes[index] = static_cast<std::uint8_t>(*high * 16 + *low);
  }
  return uuid;
}

std::string UUID::text() const {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    if (dashStandsBefore(index)) {
      text += '-';
    }
    text += digits[bytes[index] / 16];
    text += digits[bytes[index] % 16];
  }
  return text;
}

}  // namespace tolvander

std::size_t std::hash<tolvander::UUID>::operator()(const tolvander::UUID& uuid) const noexcept {
  return tolvander::hashOfElements(uuid.bytes);
}
