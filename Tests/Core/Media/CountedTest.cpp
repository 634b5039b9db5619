#include "TolvanderCore/Counted.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "TolvanderCore/MediaCounts.h"

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

// For a child process, because a process reads the locale only once.
[[noreturn]] void exitWithWhetherGermanIsWritten() {
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  const MediaCounts counts{.photos = 1234, .videos = 0};
  exit(counted(1234, "photo", "photos") == "1.234 photos" && counts.description() == "1.234 photos" ? 0 : 1);
}

TEST(CountedDeathTest, separatesThousandsAsTheUserDoesEverywhere) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitWithWhetherGermanIsWritten(), testing::ExitedWithCode(0), "");
}

TEST(Counted, inDigitsHasNoSeparators) {
  EXPECT_EQ(countedInDigits(1'234'567, "file", "files"), "1234567 files");
}

}  // namespace
}  // namespace tolvander
