#include "TolvanderApp/Presentation/Wording.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvander::app {
namespace {

TEST(Wording, countsWithThousandsSetApart) {
  EXPECT_EQ(counted(0, "file", "files"), "0 files");
  EXPECT_EQ(counted(1, "file", "files"), "1 file");
  EXPECT_EQ(counted(999, "file", "files"), "999 files");
  EXPECT_EQ(counted(1000, "file", "files"), "1,000 files");
  EXPECT_EQ(counted(1234567, "file", "files"), "1,234,567 files");
  EXPECT_EQ(counted(-1234, "file", "files"), "-1,234 files");
}

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

}  // namespace
}  // namespace tolvander::app
