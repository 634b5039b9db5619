#include "TolvanderApp/Presentation/ReviewWording.h"

#include <gtest/gtest.h>

namespace tolvander::app {
namespace {

TEST(ReviewWording, namesEachKindThatWasFoundInOrder) {
  struct Row {
    ReviewCounts counts;
    const char* text;
  };
  for (const Row& row : {
           Row{{.inLibrary = 40, .likelyDuplicates = 2, .missing = 1, .newFiles = 5, .unchecked = 3},
               "40 in Photos · 2 likely duplicates · 1 missing · 3 need review · 5 new"},
           Row{{.inLibrary = 1, .likelyDuplicates = 1, .missing = 1, .newFiles = 1, .unchecked = 1},
               "1 in Photos · 1 likely duplicate · 1 missing · 1 needs review · 1 new"},
           Row{{.likelyDuplicates = 2}, "2 likely duplicates"},
           Row{{.missing = 2}, "2 missing"},
           Row{{.newFiles = 1'234}, "1,234 new"},
           Row{{.unchecked = 2}, "2 need review"},
           Row{{.interrupted = 1}, "1 needs review"},
           Row{{.unchecked = 2, .interrupted = 3}, "5 need review"},
       }) {
    EXPECT_EQ(verificationCounts(row.counts), row.text);
  }
}

TEST(ReviewWording, saysThatAllIsInPhotosWhereItIs) {
  EXPECT_EQ(verificationCounts({.files = 1, .inLibrary = 1}), "The camera item is in Photos");
  EXPECT_EQ(verificationCounts({.files = 2, .inLibrary = 2}), "All 2 camera items are in Photos");
}

TEST(ReviewWording, doesNotSayThatAllIsInPhotosWhereAFileIsNot) {
  for (ReviewCounts other :
       {ReviewCounts{.likelyDuplicates = 1}, ReviewCounts{.missing = 1}, ReviewCounts{.newFiles = 1},
        ReviewCounts{.unchecked = 1}, ReviewCounts{.interrupted = 1}, ReviewCounts{.setAside = 1}}) {
    other.inLibrary = 7;
    EXPECT_TRUE(verificationCounts(other).starts_with("7 in Photos")) << verificationCounts(other);
  }
}

TEST(ReviewWording, ofACameraWithoutFilesSaysSo) {
  EXPECT_EQ(verificationCounts({}), "No supported files on camera");
}

TEST(ReviewWording, ofACameraWithFilesThatAreAllSetAsideSaysSo) {
  EXPECT_EQ(verificationCounts({.setAside = 1}), "1 file is set aside");
  EXPECT_EQ(verificationCounts({.setAside = 2}), "2 files are set aside");
}

TEST(ReviewWording, countsOneAndMoreFiles) {
  EXPECT_EQ(needsCheckingText(1), "1 file still needs checking");
  EXPECT_EQ(needsCheckingText(3), "3 files still need checking");
  EXPECT_EQ(cutShortText(1), "1 import was cut short");
  EXPECT_EQ(cutShortText(2), "2 imports were cut short");
  EXPECT_EQ(cutShortAdvice(1), "The next sync finishes it.");
  EXPECT_EQ(cutShortAdvice(2), "The next sync finishes them.");
  EXPECT_EQ(recoveryText(1), "1 interrupted import needs recovery");
  EXPECT_EQ(recoveryText(2), "2 interrupted imports need recovery");
}

TEST(ReviewWording, saysWhatToDoAboutPausedImports) {
  EXPECT_EQ(recoveryAdvice(),
            "Automatic retry is paused to prevent duplicates. Keep the camera originals until these imports "
            "are recovered.");
}

}  // namespace
}  // namespace tolvander::app
