#include "TolvanderCore/Counted.h"

#include <gtest/gtest.h>

#include "TolvanderCore/Platform/Text.h"

namespace tolvander {
namespace {

TEST(Counted, namesOneThingInTheSingular) {
  EXPECT_EQ(counted(0, "file", "files"), "0 files");
  EXPECT_EQ(counted(1, "file", "files"), "1 file");
  EXPECT_EQ(counted(2, "file was", "files were"), "2 files were");
  EXPECT_EQ(counted(-1, "file", "files"), "-1 files");
  EXPECT_EQ(countedInDigits(1, "file", "files"), "1 file");
  EXPECT_EQ(countedInDigits(0, "file", "files"), "0 files");
}

TEST(Counted, separatesThousandsAsTheUserDoes) {
  EXPECT_EQ(counted(999, "file", "files"), "999 files");
  EXPECT_EQ(counted(1'234'567, "file", "files"), numberText(1'234'567) + " files");
  EXPECT_NE(counted(1'234'567, "file", "files"), "1234567 files");
}

TEST(Counted, inDigitsHasNoSeparators) {
  EXPECT_EQ(countedInDigits(1'234'567, "file", "files"), "1234567 files");
}

}  // namespace
}  // namespace tolvander
