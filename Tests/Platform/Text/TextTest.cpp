#include "TolvanderCore/Platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <compare>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tolvander::tests {

namespace {

using namespace std::string_literals;

bool precedes(std::string_view left, std::string_view right) {
  return std::is_lt(standardCompare(left, right));
}
bool isEquivalent(std::string_view left, std::string_view right) {
  return std::is_eq(standardCompare(left, right));
}
bool matches(std::string_view pattern, std::string_view text) {
  return RegularExpression(pattern).hasMatch(text);
}

constexpr std::string_view photoPattern = R"(^PICT[0-9]{4,}\.(?i:jpe?g)$)";

// What file systems and people can come up with.
std::vector<std::string> nastyTexts() {
  return {"",
          " ",
          "\0"s,
          "a\0b"s,
          "ab",
          "0",
          "00",
          "1",
          "01",
          "10",
          "9",
          "18446744073709551616",
          std::string(300, '9'),
          std::string(301, '9'),
          "PICT2",
          "PICT10",
          "pict2",
          "Pict02",
          "PICT",
          "PICT-2",
          "PICT_2",
          "PICT 2",
          "PICT2.JPG",
          "PICT2.jpg",
          "DCIM/1/a",
          "DCIM/10/a",
          "DCIM/2",
          "DCIM",
          "e",
          "é",
          "e\u0301",
          "E\u0301",
          "e\u0323\u0301",
          "e\u0301\u0323",
          "ß",
          "ss",
          "SS",
          "i",
          "I",
          "İ",
          "ı",
          "\u0664",
          "4",
          "\uFFFD",
          "\xFF",
          "\xC3",
          "a\xC3",
          "\xED\xA0\x80",
          "\xF4\x90\x80\x80",
          "\U0010FFFF",
          "\uFFFE",
          "\uFFFF",
          "😀",
          "日本",
          "가",
          "\u1100\u1161",
          "\u0301",
          "."};
}

// Runs in a separate process, because a process reads its locale only once.
[[noreturn]] void exitWithWhetherPrecedes(const char* locale, std::string_view left, std::string_view right) {
  unsetenv("LC_ALL");
  setenv("LC_COLLATE", locale, 1);
  exit(precedes(left, right) ? 0 : 1);
}

class TextLocaleDeathTest : public testing::Test {
 protected:
  TextLocaleDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

}  // namespace

TEST(StandardCompare, ordersNumbersByTheirValue) {
  EXPECT_TRUE(precedes("PICT2", "PICT10"));
  EXPECT_TRUE(precedes("9", "10"));
  EXPECT_TRUE(precedes("DCIM/9MEDIA/PICT1", "DCIM/10MEDIA/PICT0"));
  EXPECT_TRUE(precedes("PICT0009.JPG", "PICT10.JPG"));
  EXPECT_TRUE(precedes("99999999999999999999", "100000000000000000000"));
}

TEST(StandardCompare, takesLeadingZerosAsTheSameNumber) {
  EXPECT_TRUE(isEquivalent("PICT007", "PICT7"));
  EXPECT_TRUE(precedes("PICT007", "PICT8"));
}

TEST(StandardCompare, letsCaseAndAccentsDecideLast) {
  EXPECT_TRUE(precedes("apple", "Banana"));
  EXPECT_TRUE(precedes("Apple", "banana"));
  EXPECT_TRUE(precedes("résumé", "resumes"));
  EXPECT_TRUE(precedes("resume", "résumé"));
  EXPECT_TRUE(precedes("pict", "PICT"));
  EXPECT_TRUE(precedes("PICT1", "pict2"));
}

TEST(StandardCompare, ordersPunctuationBeforeDigitsBeforeLetters) {
  EXPECT_TRUE(precedes("PICT_1", "PICT1"));
  EXPECT_TRUE(precedes("PICT-1", "PICT1"));
  EXPECT_TRUE(precedes("1", "a"));
  EXPECT_TRUE(precedes("A B", "AB"));
  EXPECT_FALSE(isEquivalent("a-b", "ab"));
}

TEST(StandardCompare, putsAFolderBeforeWhatLiesInIt) {
  EXPECT_TRUE(precedes("DCIM", "DCIM/a"));
  EXPECT_TRUE(precedes("DCIM/a", "DCIM1/a"));
}

TEST(StandardCompare, putsTheEmptyTextFirst) {
  EXPECT_TRUE(isEquivalent("", ""));
  EXPECT_TRUE(precedes("", " "));
  EXPECT_TRUE(precedes("", "a"));
  EXPECT_TRUE(isEquivalent(std::string_view(), ""));
}

TEST(StandardCompare, takesCanonicallyEquivalentTextsAsEquivalent) {
  EXPECT_TRUE(isEquivalent("é", "e\u0301"));
  EXPECT_TRUE(isEquivalent("e\u0323\u0301", "e\u0301\u0323"));
  EXPECT_TRUE(isEquivalent("가", "\u1100\u1161"));
}

TEST(StandardCompare, takesIllFormedBytesAsReplacementCharacters) {
  EXPECT_TRUE(isEquivalent("a\xFF", "a\uFFFD"));
  EXPECT_TRUE(isEquivalent("\xC3", "\uFFFD"));
  EXPECT_TRUE(isEquivalent("\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"));
  EXPECT_FALSE(isEquivalent("a\xFF", "a"));
}

TEST(StandardCompare, isATotalPreorder) {
  const std::vector<std::string> texts = nastyTexts();
  for (const std::string& a : texts) {
    EXPECT_TRUE(isEquivalent(a, a)) << a;
    for (const std::string& b : texts) {
      EXPECT_EQ(precedes(a, b), std::is_gt(standardCompare(b, a))) << a << " | " << b;
      for (const std::string& c : texts) {
        if (std::is_lteq(standardCompare(a, b)) && std::is_lteq(standardCompare(b, c))) {
          EXPECT_TRUE(std::is_lteq(standardCompare(a, c))) << a << " | " << b << " | " << c;
        }
      }
    }
  }
}

TEST(StandardCompare, answersTheSameOnManyThreads) {
  const std::vector<std::string> texts = nastyTexts();
  std::vector<std::string> expected = texts;
  std::stable_sort(expected.begin(), expected.end(), precedes);
  std::vector<std::vector<std::string>> results(4, texts);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (std::vector<std::string>& list : results) {
    threads.emplace_back([&list] { std::stable_sort(list.begin(), list.end(), precedes); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(results, std::vector<std::vector<std::string>>(4, expected));
}

TEST(StandardSortKey, ordersAsStandardCompareDoes) {
  const std::vector<std::string> texts = nastyTexts();
  for (const std::string& left : texts) {
    for (const std::string& right : texts) {
      EXPECT_EQ(std::weak_ordering(standardSortKey(left) <=> standardSortKey(right)),
                standardCompare(left, right))
          << left << " | " << right;
    }
  }
}

TEST(StandardSortKey, holdsLongTexts) {
  const std::string text(5'000, 'x');
  EXPECT_LT(standardSortKey(text), standardSortKey(text + "a"));
  EXPECT_EQ(standardSortKey(text), standardSortKey(text));
}

// Swedish sorts ä behind z; no other rules that come into question here do.
TEST_F(TextLocaleDeathTest, standardCompareFollowsTheUsersLocale) {
  EXPECT_EXIT(exitWithWhetherPrecedes("sv_SE.UTF-8", "z", "ä"), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(exitWithWhetherPrecedes("de_DE.UTF-8@euro", "ä", "z"), testing::ExitedWithCode(0), "");
}

TEST_F(TextLocaleDeathTest, standardCompareFollowsTheRootRulesWithoutALanguage) {
  for (const char* const locale : {"C", "C.UTF-8", "POSIX", "en_US_POSIX", "xx_nonsense"}) {
    EXPECT_EXIT(exitWithWhetherPrecedes(locale, "a", "B"), testing::ExitedWithCode(0), "") << locale;
    EXPECT_EXIT(exitWithWhetherPrecedes(locale, "ä", "z"), testing::ExitedWithCode(0), "") << locale;
  }
}

TEST(EqualIgnoringCase, foldsCaseFullyAndWithoutLocale) {
  EXPECT_TRUE(equalIgnoringCase("CHARMERA", "charmera"));
  EXPECT_TRUE(equalIgnoringCase("straße", "STRASSE"));
  EXPECT_TRUE(equalIgnoringCase("ÄÖÜ", "äöü"));
  EXPECT_TRUE(equalIgnoringCase("I", "i"));
  EXPECT_FALSE(equalIgnoringCase("I", "ı"));
  EXPECT_FALSE(equalIgnoringCase("i", "İ"));
  EXPECT_TRUE(equalIgnoringCase("", ""));
}

TEST(EqualIgnoringCase, countsAccentsButNotTheirSpelling) {
  EXPECT_FALSE(equalIgnoringCase("é", "e"));
  EXPECT_TRUE(equalIgnoringCase("É", "e\u0301"));
}

TEST(EqualIgnoringCase, countsEveryCharacter) {
  EXPECT_FALSE(equalIgnoringCase("a", "a "));
  EXPECT_FALSE(equalIgnoringCase("PICT1", "PICT01"));
  EXPECT_FALSE(equalIgnoringCase("a\0"s, "a"));
  EXPECT_TRUE(equalIgnoringCase("A\xFF", "a\uFFFD"));
}

TEST(Lowercased, knowsNoLocale) {
  EXPECT_EQ(lowercased("JPG"), "jpg");
  EXPECT_EQ(lowercased("AVI"), "avi");
  EXPECT_EQ(lowercased("ÄI"), "äi");
  EXPECT_EQ(lowercased("İ"), "i\u0307");
  EXPECT_EQ(lowercased(""), "");
}

TEST_F(TextLocaleDeathTest, lowercasedKnowsNoTurkish) {
  const auto exitWithWhetherPlain = [] {
    setenv("LC_ALL", "tr_TR.UTF-8", 1);
    exit(lowercased("AVI") == "avi" && equalIgnoringCase("AVI", "avi") ? 0 : 1);
  };
  EXPECT_EXIT(exitWithWhetherPlain(), testing::ExitedWithCode(0), "");
}

TEST(Lowercased, replacesIllFormedBytes) {
  EXPECT_EQ(lowercased("A\xFF"
                       "B"),
            "a\uFFFDb");
}

// Runs in a separate process, as for sorting.
[[noreturn]] void exitWithWhetherNumberIs(const char* locale, std::int64_t number, std::string_view text) {
  unsetenv("LC_ALL");
  setenv("LC_NUMERIC", locale, 1);
  exit(numberText(number) == text ? 0 : 1);
}

TEST_F(TextLocaleDeathTest, numberTextFollowsTheUsersLocale) {
  const auto isWritten = testing::ExitedWithCode(0);
  EXPECT_EXIT(exitWithWhetherNumberIs("en_US.UTF-8", 1'234'567, "1,234,567"), isWritten, "");
  EXPECT_EXIT(exitWithWhetherNumberIs("de_DE.UTF-8", 1'234'567, "1.234.567"), isWritten, "");
  EXPECT_EXIT(exitWithWhetherNumberIs("fr_FR.UTF-8", 1'234, "1\u202F234"), isWritten, "");
  EXPECT_EXIT(exitWithWhetherNumberIs("es_ES.UTF-8", 1'234, "1234"), isWritten, "");
  EXPECT_EXIT(exitWithWhetherNumberIs("hi_IN.UTF-8", 1'234'567, "12,34,567"), isWritten, "");
}

TEST_F(TextLocaleDeathTest, numberTextFollowsTheRootRulesWithoutALanguage) {
  for (const char* const locale : {"C", "C.UTF-8", "POSIX", "en_US_POSIX"}) {
    EXPECT_EXIT(exitWithWhetherNumberIs(locale, 1'234, "1,234"), testing::ExitedWithCode(0), "") << locale;
    EXPECT_EXIT(exitWithWhetherNumberIs(locale, -5, "-5"), testing::ExitedWithCode(0), "") << locale;
    EXPECT_EXIT(exitWithWhetherNumberIs(locale, std::numeric_limits<std::int64_t>::min(),
                                        "-9,223,372,036,854,775,808"),
                testing::ExitedWithCode(0), "")
        << locale;
  }
}

TEST_F(TextLocaleDeathTest, aLocaleThatCanNotBeUnderstoodCountsAsNoLanguage) {
  for (const std::string& locale : {std::string(200, 'x'), std::string("en@numbers=xxxx")}) {
    const char* const text = locale.c_str();
    EXPECT_EXIT(exitWithWhetherNumberIs(text, 1'234, "1,234"), testing::ExitedWithCode(0), "") << locale;
    EXPECT_EXIT(exitWithWhetherPrecedes(text, "PICT2", "PICT10"), testing::ExitedWithCode(0), "") << locale;
  }
}

TEST(TrimmingWhitespaceAndNewlines, trimsBothEndsOnly) {
  EXPECT_EQ(trimmingWhitespaceAndNewlines("  Kodak Moments\r\n"), "Kodak Moments");
  EXPECT_EQ(trimmingWhitespaceAndNewlines("\t\n\v\f\r x"), "x");
  EXPECT_EQ(trimmingWhitespaceAndNewlines("x"), "x");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(" \n "), "");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(""), "");
  EXPECT_EQ(trimmingWhitespaceAndNewlines(std::string_view()), "");
}

TEST(TrimmingWhitespaceAndNewlines, knowsUnicodesWhiteSpace) {
  for (const std::string_view blank : {"\u00A0", "\u0085", "\u2028", "\u2029", "\u3000", "\u2003"}) {
    EXPECT_EQ(trimmingWhitespaceAndNewlines(std::string(blank) + "a b" + std::string(blank)), "a b") << blank;
  }
}

TEST(TrimmingWhitespaceAndNewlines, keepsEverythingElse) {
  for (const std::string_view text : {"\u200B", "\x1F", "\xFF", "\x85", "\xA0", "a\xE2\x80"}) {
    std::string padded(" ");
    padded.append(text).append(" ");
    EXPECT_EQ(trimmingWhitespaceAndNewlines(padded), text);
  }
  EXPECT_EQ(trimmingWhitespaceAndNewlines("\0 "s), "\0"s);
}

TEST(RegularExpression, findsCameraPhotos) {
  EXPECT_TRUE(matches(photoPattern, "PICT0001.JPG"));
  EXPECT_TRUE(matches(photoPattern, "PICT12345.jpeg"));
  EXPECT_TRUE(matches(photoPattern, "PICT0001.JpEg"));
  EXPECT_FALSE(matches(photoPattern, "PICT123.JPG"));
  EXPECT_FALSE(matches(photoPattern, "pict0001.JPG"));
  EXPECT_FALSE(matches(photoPattern, "XPICT0001.JPG"));
  EXPECT_FALSE(matches(photoPattern, "PICT0001.JPGX"));
  EXPECT_FALSE(matches(photoPattern, "PICT0001xJPG"));
  EXPECT_FALSE(matches(photoPattern, "PICT\u0660\u0660\u0660\u0661.JPG"));
  EXPECT_FALSE(matches(photoPattern, ""));
}

TEST(RegularExpression, findsAMatchAnywhere) {
  EXPECT_TRUE(matches("b+", "abbc"));
  EXPECT_FALSE(matches("^b", "ab"));
  EXPECT_TRUE(matches("", "anything"));
  EXPECT_TRUE(matches("", ""));
}

TEST(RegularExpression, takesTheEndsOfTheTextForAnchors) {
  EXPECT_TRUE(matches("b$", "ab\n"));
  EXPECT_FALSE(matches("a$", "a\nb"));
  EXPECT_FALSE(matches("^b", "a\nb"));
}

TEST(RegularExpression, servesManyTexts) {
  RegularExpression expression("^a+$");
  EXPECT_TRUE(expression.hasMatch("aaa"));
  EXPECT_FALSE(expression.hasMatch("aab"));
  EXPECT_TRUE(expression.hasMatch("a"));
  RegularExpression moved(std::move(expression));
  EXPECT_TRUE(moved.hasMatch("aa"));
}

TEST(RegularExpression, takesIllFormedBytesAsReplacementCharacters) {
  EXPECT_TRUE(matches("^.$", "\xFF"));
  EXPECT_TRUE(matches("\uFFFD", "\xC3"));
}

TEST(RegularExpression, refusesWhatIsNoPattern) {
  for (const std::string_view pattern : {"(", "[a", "a{2,1}", "*", "(?<n", "\\"}) {
    EXPECT_THROW(RegularExpression{pattern}, RegularExpressionError) << pattern;
  }
}

// Without a bound each of these would run for longer than anyone can wait.
TEST(RegularExpression, givesUpOnPatternsThatExplode) {
  const std::string text = std::string(200, 'a') + "!";
  for (const std::string_view pattern : {"^(a+)+$", "(a|aa)*b", "(a+a+)+y", "(.*)*(.*)*(.*)*%"}) {
    EXPECT_FALSE(matches(pattern, text)) << pattern;
  }
}

TEST(RegularExpression, givesUpWhereTheStackWouldGrowTooFar) {
  EXPECT_FALSE(matches("^(a|b)*$", std::string(1'000'000, 'a')));
}

TEST(RegularExpression, servesTheNextTextAfterGivingUp) {
  RegularExpression expression("^(a+)+$");
  EXPECT_FALSE(expression.hasMatch(std::string(200, 'a') + "!"));
  EXPECT_TRUE(expression.hasMatch("aaa"));
}

}  // namespace tolvander::tests
