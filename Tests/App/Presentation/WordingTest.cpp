#include "TolvanderApp/Presentation/Wording.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvander::app {
namespace {

TEST(Wording, givesSizesInTheUnitThatFits) {
  EXPECT_EQ(byteCountText(0), "0 bytes");
  EXPECT_EQ(byteCountText(1), "1 byte");
  EXPECT_EQ(byteCountText(999), "999 bytes");
  EXPECT_EQ(byteCountText(1000), "1 KB");
  EXPECT_EQ(byteCountText(1500), "1.5 KB");
  EXPECT_EQ(byteCountText(9949), "9.9 KB");
  EXPECT_EQ(byteCountText(9950), "10 KB");
  EXPECT_EQ(byteCountText(999'499), "999 KB");
  EXPECT_EQ(byteCountText(999'500), "1 MB");
  EXPECT_EQ(byteCountText(8'589'934'592), "8.6 GB");
  EXPECT_EQ(byteCountText(std::numeric_limits<std::int64_t>::max()), "9.2 EB");
}

TEST(Wording, showsNothingThatCouldMoveACursor) {
  const std::string r = "\xEF\xBF\xBD";
  EXPECT_EQ(printable("Ä/ö 😀.JPG"), "Ä/ö 😀.JPG");
  EXPECT_EQ(printable("a\x1b[2Jb\n\x7f"), "a" + r + "[2Jb" + r + r);
  EXPECT_EQ(printable("\xC2\x9B"), r) << "the one-character form of ESC [";
  EXPECT_EQ(printable("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(printable("\xFFx"), r + "x");
}

TEST(Wording, givesNumbersWithThreeDecimalsAtMost) {
  EXPECT_EQ(decimalText(0), "0");
  EXPECT_EQ(decimalText(30), "30");
  EXPECT_EQ(decimalText(12.5), "12.5");
  EXPECT_EQ(decimalText(29.97002997), "29.97");
  EXPECT_EQ(decimalText(0.0625), "0.063");
  EXPECT_EQ(decimalText(1.9996), "2");
  EXPECT_EQ(decimalText(7200.001), "7200.001");
}

TEST(Wording, givesSizesOfPicturesInPixels) { EXPECT_EQ(pixelSizeText(1440, 1080), "1440 × 1080 pixels"); }

TEST(Wording, givesFourCharacterCodesAsTextWherePossible) {
  EXPECT_EQ(fourCharacterCodeText(0x6A706567), "jpeg");
  EXPECT_EQ(fourCharacterCodeText(0x72617720), "raw ");
  EXPECT_EQ(fourCharacterCodeText(0x6D730011), "0x6d730011");
  EXPECT_EQ(fourCharacterCodeText(0x6A70657F), "0x6a70657f");
  EXPECT_EQ(fourCharacterCodeText(0xFF706567), "0xff706567");
  EXPECT_EQ(fourCharacterCodeText(0), "0x00000000");
}

TEST(Wording, alignsTheFactsOfAList) {
  EXPECT_EQ(factLine("Duration", "1 s"), "Duration             1 s\n");
  EXPECT_EQ(factLine("A label that is too long", "x"), "A label that is too long x\n");
}

TEST(Wording, joinsTextsWithDots) {
  EXPECT_EQ(joinedWithDots({}), "");
  EXPECT_EQ(joinedWithDots({"one"}), "one");
  EXPECT_EQ(joinedWithDots({"one", "two", "three"}), "one · two · three");
}

TEST(Wording, namesTheFileOfAFailure) {
  EXPECT_EQ(failureOfFile(std::nullopt, "It is damaged."), "It is damaged.");
  EXPECT_EQ(failureOfFile("A\n.JPG", "It is damaged."), "A\uFFFD.JPG: It is damaged.");
}

}  // namespace
}  // namespace tolvander::app
