#include "TolvanderCore/Foundation/Endian.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view bytes = "\x00\xFE\x02\x83\x04\x85\x06\x87\x08"sv;

TEST(Endian, readsTheMostOrTheLeastSignificantByteFirst) {
  EXPECT_EQ(bigEndian16(bytes, 1), 0xFE02U);
  EXPECT_EQ(bigEndian32(bytes, 1), 0xFE028304U);
  EXPECT_EQ(littleEndian16(bytes, 1), 0x02FEU);
  EXPECT_EQ(littleEndian32(bytes, 1), 0x048302FEU);
  EXPECT_EQ(littleEndian64(bytes, 1), 0x08870685'048302FEU);
}

TEST(Endian, readsBytesOfEitherType) {
  constexpr std::array array{std::byte{0xFF}, std::byte{0x80}};
  EXPECT_EQ(bigEndian16(array, 0), 0xFF80U);
  EXPECT_EQ(littleEndian16(array, 0), 0x80FFU);
}

TEST(Endian, writesWhatItReads) {
  std::string big;
  appendBigEndian(big, std::uint32_t{0xFE028304});
  EXPECT_EQ(big, bytes.substr(1, 4));
  std::vector<std::byte> little;
  appendLittleEndian(little, std::uint16_t{0x80FF});
  EXPECT_EQ(little, (std::vector{std::byte{0xFF}, std::byte{0x80}}));
}

}  // namespace
}  // namespace tolvander
