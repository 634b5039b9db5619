#include "TolvanderCore/Platform/Characters.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvander {
namespace {

TEST(FirstCharacters, givesTheWholeTextWhereItHasNoMore) {
  EXPECT_EQ(firstCharacters("", 0), "");
  EXPECT_EQ(firstCharacters("", 3), "");
  EXPECT_EQ(firstCharacters("abc", 3), "abc");
  EXPECT_EQ(firstCharacters("abc", 9), "abc");
}

TEST(FirstCharacters, endsAfterTheNumberOfCharacters) {
  EXPECT_EQ(firstCharacters("abc", 2), "ab");
  EXPECT_EQ(firstCharacters("abc", 0), "");
  EXPECT_EQ(firstCharacters("“äö”", 3), "“äö");
}

TEST(FirstCharacters, countsWhatAReaderSeesAsOneCharacterOnce) {
  EXPECT_EQ(firstCharacters("e\u0301x", 1), "e\u0301");
  EXPECT_EQ(firstCharacters("\U0001F468\u200D\U0001F469\u200D\U0001F467x", 1),
            "\U0001F468\u200D\U0001F469\u200D\U0001F467");
  EXPECT_EQ(firstCharacters("\U0001F1E9\U0001F1EAx", 1), "\U0001F1E9\U0001F1EA");
}

TEST(FirstCharacters, keepsIllFormedBytes) {
  const std::string text =
      "a\xFF"
      "bc";
  EXPECT_EQ(firstCharacters(text, 3),
            "a\xFF"
            "b");
}

}  // namespace
}  // namespace tolvander
