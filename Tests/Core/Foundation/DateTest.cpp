#include "TolvanderCore/Foundation/Date.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvander::tests {

namespace {

std::int64_t nanoseconds(std::optional<Date> date) { return date.value().time_since_epoch().count(); }

}  // namespace

TEST(Date, countsFrom1970) {
  EXPECT_EQ(nanoseconds(dateSince1970(0)), 0);
  EXPECT_EQ(nanoseconds(dateSince1970(2, 5)), 2'000'000'005);
}

TEST(Date, countsNanosecondsForwardsBefore1970) {
  EXPECT_EQ(nanoseconds(dateSince1970(-1)), -1'000'000'000);
  EXPECT_EQ(nanoseconds(dateSince1970(-1, 999'999'999)), -1);
  EXPECT_EQ(nanoseconds(dateSince1970(-2, 250'000'000)), -1'750'000'000);
}

TEST(Date, reachesBothEndsToTheNanosecond) {
  EXPECT_EQ(dateSince1970(9'223'372'036, 854'775'807), Date::max());
  EXPECT_EQ(dateSince1970(-9'223'372'037, 145'224'192), Date::min());
}

TEST(Date, isAbsentOneNanosecondFurther) {
  EXPECT_FALSE(dateSince1970(9'223'372'036, 854'775'808));
  EXPECT_FALSE(dateSince1970(-9'223'372'037, 145'224'191));
  EXPECT_FALSE(dateSince1970(9'223'372'037));
  EXPECT_FALSE(dateSince1970(-9'223'372'038, 999'999'999));
  EXPECT_FALSE(dateSince1970(std::numeric_limits<std::int64_t>::max(), 999'999'999));
  EXPECT_FALSE(dateSince1970(std::numeric_limits<std::int64_t>::min()));
}

TEST(Date, anyTwoHaveADistance) {
  EXPECT_EQ(distanceBetween(Date(), Date()).count(), 0U);
  EXPECT_EQ(distanceBetween(Date(std::chrono::nanoseconds(-3)), Date(std::chrono::nanoseconds(4))).count(),
            7U);
  EXPECT_EQ(distanceBetween(Date(std::chrono::nanoseconds(4)), Date(std::chrono::nanoseconds(-3))).count(),
            7U);
  EXPECT_EQ(distanceBetween(Date::min(), Date::max()).count(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(distanceBetween(Date::max(), Date::min()).count(), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace tolvander::tests
