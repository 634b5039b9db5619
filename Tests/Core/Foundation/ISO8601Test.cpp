#include "TolvanderCore/Foundation/ISO8601.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace tolvander::tests {

TEST(ISO8601, writesWholeSecondsInUTC) {
  EXPECT_EQ(iso8601Text(Date()), "1970-01-01T00:00:00Z");
  EXPECT_EQ(iso8601Text(dateSince1970(1'794'770'000).value()), "2026-11-15T19:13:20Z");
  EXPECT_EQ(iso8601Text(Date::min()), "1677-09-21T00:12:43Z");
  EXPECT_EQ(iso8601Text(Date::max()), "2262-04-11T23:47:16Z");
}

TEST(ISO8601, cutsFractionsTowardsThePast) {
  EXPECT_EQ(iso8601Text(dateSince1970(0, 999'999'999).value()), "1970-01-01T00:00:00Z");
  EXPECT_EQ(iso8601Text(dateSince1970(-1, 999'999'999).value()), "1969-12-31T23:59:59Z");
}

TEST(ISO8601, readsWhatItWrites) {
  std::mt19937_64 random(3);
  std::uniform_int_distribution<std::int64_t> seconds(-9'223'372'036, 9'223'372'036);
  for (int count = 0; count < 20'000; ++count) {
    const auto date = dateSince1970(seconds(random));
    ASSERT_TRUE(date);
    ASSERT_EQ(dateFromISO8601(iso8601Text(*date)), date) << iso8601Text(*date);
  }
}

TEST(ISO8601, knowsLeapDays) {
  EXPECT_EQ(dateFromISO8601("2024-02-29T00:00:00Z"), dateSince1970(1'709'164'800));
  EXPECT_TRUE(dateFromISO8601("2000-02-29T00:00:00Z"));
  EXPECT_FALSE(dateFromISO8601("2023-02-29T00:00:00Z"));
  EXPECT_FALSE(dateFromISO8601("1900-02-29T00:00:00Z"));
}

TEST(ISO8601, refusesEveryOtherForm) {
  for (const std::string_view text :
       {"", "2026-11-15", "2026-11-15T19:13:17", "2026-11-15T19:13:17.000Z", "2026-11-15T19:13:17+00:00",
        "2026-11-15t19:13:17Z", "2026-11-15T19:13:17z", "2026-11-15 19:13:17Z", " 2026-11-15T19:13:17Z",
        "2026-11-15T19:13:17Z ", "2026:11:15T19:13:17Z", "20261115T191317Z", "2026-11-15T19:13Z",
        "+026-11-15T19:13:17Z", "-026-11-15T19:13:17Z", "2026-1a-15T19:13:17Z", "2026-W46-7T19:13:17Z",
        "2026-11-15T19:13:17\xC3"}) {
    EXPECT_FALSE(dateFromISO8601(text)) << text;
  }
  EXPECT_FALSE(dateFromISO8601(std::string_view("2026-11-15T19:13:17\0", 20)));
}

TEST(ISO8601, refusesDaysAndTimesThatDoNotExist) {
  for (const std::string_view text :
       {"2026-00-15T00:00:00Z", "2026-13-15T00:00:00Z", "2026-11-00T00:00:00Z", "2026-11-31T00:00:00Z",
        "2026-11-15T24:00:00Z", "2026-11-15T00:60:00Z", "2026-11-15T00:00:60Z", "2016-12-31T23:59:60Z"}) {
    EXPECT_FALSE(dateFromISO8601(text)) << text;
  }
}

TEST(ISO8601, refusesWhatADateCannotReach) {
  for (const std::string_view text : {"9999-12-31T23:59:59Z", "0000-01-01T00:00:00Z", "0001-01-01T00:00:00Z",
                                      "1677-09-21T00:12:43Z", "2262-04-11T23:47:17Z"}) {
    EXPECT_FALSE(dateFromISO8601(text)) << text;
  }
  EXPECT_TRUE(dateFromISO8601("1677-09-21T00:12:44Z"));
  EXPECT_TRUE(dateFromISO8601("2262-04-11T23:47:16Z"));
}

TEST(ISO8601, givesTheNearestSecondOfWhatADateCannotReachOnRequest) {
  const Date first = dateFromISO8601("1677-09-21T00:12:44Z").value();
  const Date last = dateFromISO8601("2262-04-11T23:47:16Z").value();
  EXPECT_EQ(nearestDateFromISO8601("0001-01-01T00:00:00Z"), first);
  EXPECT_EQ(nearestDateFromISO8601("9999-12-31T23:59:59Z"), last);
  EXPECT_EQ(nearestDateFromISO8601(iso8601Text(Date::min())), first);
  EXPECT_EQ(nearestDateFromISO8601(iso8601Text(Date::max())), last);
  EXPECT_EQ(nearestDateFromISO8601("2026-11-15T19:13:17Z"), dateFromISO8601("2026-11-15T19:13:17Z"));
  EXPECT_FALSE(nearestDateFromISO8601("9999-12-31T23:59:60Z"));
}

}  // namespace tolvander::tests
