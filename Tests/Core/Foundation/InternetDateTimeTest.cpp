#include "TolvanderCore/Foundation/InternetDateTime.h"

#include <gtest/gtest.h>

#include "TolvanderCore/Foundation/ISO8601.h"

namespace tolvander::tests {

TEST(InternetDateTime, readsUTCAndOffsets) {
  const auto expected = dateFromISO8601("2026-11-15T19:13:17Z");
  ASSERT_TRUE(expected);
  for (const char* text :
       {"2026-11-15T19:13:17Z", "2026-11-15T20:13:17+01:00", "2026-11-15T20:13:17+0100",
        "2026-11-15T20:13:17+01", "2026-11-15T13:43:17-05:30", "2026-11-16T00:13:17+05:00"}) {
    EXPECT_EQ(dateFromInternetDateTime(text), expected) << text;
  }
}

TEST(InternetDateTime, readsFractionsOnlyOnTheSecondAttempt) {
  const auto second = dateFromISO8601("2026-11-15T19:13:17Z");
  EXPECT_FALSE(dateFromInternetDateTime("2026-11-15T19:13:17.25Z"));
  EXPECT_EQ(dateFromInternetDateTimeWithFractionalSeconds("2026-11-15T19:13:17.25Z"),
            *second + std::chrono::milliseconds(250));
  EXPECT_EQ(dateFromInternetDateTimeWithFractionalSeconds("2026-11-15T20:13:17.000000001+01:00"),
            *second + std::chrono::nanoseconds(1));
  EXPECT_FALSE(dateFromInternetDateTimeWithFractionalSeconds("2026-11-15T19:13:17Z"));
}

TEST(InternetDateTime, readsFractionsBefore1970) {
  EXPECT_EQ(dateFromInternetDateTimeWithFractionalSeconds("1969-12-31T23:59:59.5Z"),
            Date(std::chrono::milliseconds(-500)));
}

TEST(InternetDateTime, hasNoDateForOtherForms) {
  for (const char* text : {"",
                           "Z",
                           "2026-11-15",
                           "2026-11-15T19:13:17",
                           "2026-11-15 19:13:17Z",
                           "2026-11-15T19:13:17z",
                           "2026-11-15T19:13:17+1:00",
                           "2026-11-15T19:13:17+01:",
                           "2026-11-15T19:13:17+24:00",
                           "2026-11-15T19:13:17+01:60",
                           "2026-11-15T19:13:17 Z",
                           "2026-02-30T19:13:17Z",
                           "2026-11-15T24:00:00Z",
                           "2026-11-15T19:13:17.Z",
                           "2026-11-15T19:13:17.1234567890Z",
                           "2026-11-15T19:13:17.5",
                           "2026-11-15T19:13:17.5x",
                           "2026-11-15T19:13:17.-5Z",
                           "2500-01-01T00:00:00Z",
                           "2500-01-01T00:00:00.5Z"}) {
    EXPECT_FALSE(dateFromInternetDateTime(text)) << text;
    EXPECT_FALSE(dateFromInternetDateTimeWithFractionalSeconds(text)) << text;
  }
}

TEST(InternetDateTime, hasNoDateWhereTheOffsetLeadsBeyondAllDates) {
  EXPECT_TRUE(dateFromInternetDateTime("2262-04-11T23:47:16Z"));
  EXPECT_FALSE(dateFromInternetDateTime("2262-04-11T23:47:16-01:00"));
}

}  // namespace tolvander::tests
