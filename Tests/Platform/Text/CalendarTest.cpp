#include "TolvanderCore/Platform/Calendar.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "TolvanderCore/Foundation/ISO8601.h"

namespace tolvander::tests {

namespace {

TimeZone zone(std::string_view name) { return TimeZone::named(name).value(); }

// The instant in ISO 8601, or "absent".
std::string instantOf(std::string_view text, std::string_view zoneName) {
  const auto date = dateFromExifText(text, zone(zoneName));
  return date ? iso8601Text(*date) : "absent";
}

std::string textOf(std::string_view instant, std::string_view zoneName) {
  return exifDateText(dateFromISO8601(instant).value(), zone(zoneName));
}

class Environment {
 public:
  explicit Environment(const char* zoneVariable) {
    if (const char* const old = getenv("TZ")) {
      old_ = old;
    }
    zoneVariable != nullptr ? setenv("TZ", zoneVariable, 1) : unsetenv("TZ");
  }
  ~Environment() { old_ ? setenv("TZ", old_->c_str(), 1) : unsetenv("TZ"); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  std::optional<std::string> old_;
};

constexpr std::array zoneNames = {"UTC",
                                  "Europe/Berlin",
                                  "America/New_York",
                                  "Australia/Lord_Howe",
                                  "America/Sao_Paulo",
                                  "Europe/Dublin",
                                  "Africa/Casablanca",
                                  "Asia/Kolkata",
                                  "Asia/Kathmandu",
                                  "Pacific/Apia",
                                  "Pacific/Kiritimati",
                                  "America/St_Johns",
                                  "Asia/Tehran",
                                  "Africa/Monrovia"};

}  // namespace

TEST(Calendar, writesTheWallClockOfTheZone) {
  EXPECT_EQ(textOf("2026-11-15T19:13:17Z", "UTC"), "2026:11:15 19:13:17");
  EXPECT_EQ(textOf("2026-11-15T19:13:17Z", "Europe/Berlin"), "2026:11:15 20:13:17");
  EXPECT_EQ(textOf("2026-07-15T22:13:17Z", "Europe/Berlin"), "2026:07:16 00:13:17");
  EXPECT_EQ(textOf("2026-01-01T00:00:00Z", "Asia/Kathmandu"), "2026:01:01 05:45:00");
}

TEST(Calendar, readsTheWallClockOfTheZone) {
  EXPECT_EQ(instantOf("2026:11:15 20:13:17", "Europe/Berlin"), "2026-11-15T19:13:17Z");
  EXPECT_EQ(instantOf("2026:07:16 00:13:17", "Europe/Berlin"), "2026-07-15T22:13:17Z");
  EXPECT_EQ(instantOf("2024:02:29 12:00:00", "America/New_York"), "2024-02-29T17:00:00Z");
  EXPECT_EQ(instantOf("2100:07:01 12:00:00", "Europe/Berlin"), "2100-07-01T10:00:00Z");
}

TEST(Calendar, takesASkippedTimeWithTheOffsetBeforeTheChange) {
  EXPECT_EQ(instantOf("2026:03:29 01:59:59", "Europe/Berlin"), "2026-03-29T00:59:59Z");
  EXPECT_EQ(instantOf("2026:03:29 02:00:00", "Europe/Berlin"), "2026-03-29T01:00:00Z");
  EXPECT_EQ(instantOf("2026:03:29 02:59:59", "Europe/Berlin"), "2026-03-29T01:59:59Z");
  EXPECT_EQ(instantOf("2026:03:29 03:00:00", "Europe/Berlin"), "2026-03-29T01:00:00Z");
  EXPECT_EQ(instantOf("2026:03:08 02:30:00", "America/New_York"), "2026-03-08T07:30:00Z");
  EXPECT_EQ(instantOf("2060:03:28 02:30:00", "Europe/Berlin"), "2060-03-28T01:30:00Z");
}

TEST(Calendar, takesASkippedMidnightWithTheOffsetBeforeTheChange) {
  EXPECT_EQ(instantOf("2018:11:03 23:59:59", "America/Sao_Paulo"), "2018-11-04T02:59:59Z");
  EXPECT_EQ(instantOf("2018:11:04 00:00:00", "America/Sao_Paulo"), "2018-11-04T03:00:00Z");
  EXPECT_EQ(instantOf("2018:11:04 00:59:59", "America/Sao_Paulo"), "2018-11-04T03:59:59Z");
  EXPECT_EQ(instantOf("2018:11:04 01:00:00", "America/Sao_Paulo"), "2018-11-04T03:00:00Z");
  EXPECT_EQ(instantOf("2026:03:29 00:30:00", "Asia/Beirut"), "2026-03-28T22:30:00Z");
}

TEST(Calendar, takesASkippedDayWithTheOffsetBeforeTheChange) {
  EXPECT_EQ(instantOf("2011:12:29 23:59:59", "Pacific/Apia"), "2011-12-30T09:59:59Z");
  EXPECT_EQ(instantOf("2011:12:30 12:00:00", "Pacific/Apia"), "2011-12-30T22:00:00Z");
  EXPECT_EQ(instantOf("2011:12:31 00:00:00", "Pacific/Apia"), "2011-12-30T10:00:00Z");
}

TEST(Calendar, takesTheFirstOfTwo) {
  EXPECT_EQ(instantOf("2026:10:25 01:59:59", "Europe/Berlin"), "2026-10-24T23:59:59Z");
  EXPECT_EQ(instantOf("2026:10:25 02:00:00", "Europe/Berlin"), "2026-10-25T00:00:00Z");
  EXPECT_EQ(instantOf("2026:10:25 02:59:59", "Europe/Berlin"), "2026-10-25T00:59:59Z");
  EXPECT_EQ(instantOf("2026:10:25 03:00:00", "Europe/Berlin"), "2026-10-25T02:00:00Z");
  EXPECT_EQ(instantOf("2026:11:01 01:30:00", "America/New_York"), "2026-11-01T05:30:00Z");
  EXPECT_EQ(instantOf("2026:10:25 01:30:00", "Europe/Dublin"), "2026-10-25T00:30:00Z");
  EXPECT_EQ(instantOf("2026:10:24 23:30:00", "Asia/Beirut"), "2026-10-24T20:30:00Z");
  EXPECT_EQ(instantOf("2060:10:31 02:30:00", "Europe/Berlin"), "2060-10-31T00:30:00Z");
}

TEST(Calendar, treatsChangesBefore1970AlikeDownToTheSecond) {
  // Double summer time, and the end of Berlin’s local time, 3208 s ahead of UTC.
  EXPECT_EQ(instantOf("1943:04:04 02:30:00", "Europe/London"), "1943-04-04T01:30:00Z");
  EXPECT_EQ(instantOf("1943:08:15 02:30:00", "Europe/London"), "1943-08-15T00:30:00Z");
  EXPECT_EQ(instantOf("1893:03:31 23:59:59", "Europe/Berlin"), "1893-03-31T23:06:31Z");
  EXPECT_EQ(instantOf("1893:04:01 00:03:00", "Europe/Berlin"), "1893-03-31T23:09:32Z");
}

TEST(Calendar, writesBothOfTwoAlike) {
  EXPECT_EQ(textOf("2026-10-25T00:30:00Z", "Europe/Berlin"), "2026:10:25 02:30:00");
  EXPECT_EQ(textOf("2026-10-25T01:30:00Z", "Europe/Berlin"), "2026:10:25 02:30:00");
  EXPECT_EQ(textOf("2026-11-01T05:30:00Z", "America/New_York"), "2026:11:01 01:30:00");
  EXPECT_EQ(textOf("2026-11-01T06:30:00Z", "America/New_York"), "2026:11:01 01:30:00");
}

TEST(Calendar, knowsShiftsOfHalfAnHour) {
  EXPECT_EQ(instantOf("2026:10:04 01:59:59", "Australia/Lord_Howe"), "2026-10-03T15:29:59Z");
  EXPECT_EQ(instantOf("2026:10:04 02:15:00", "Australia/Lord_Howe"), "2026-10-03T15:45:00Z");
  EXPECT_EQ(instantOf("2026:10:04 02:30:00", "Australia/Lord_Howe"), "2026-10-03T15:30:00Z");
  EXPECT_EQ(instantOf("2026:04:05 01:45:00", "Australia/Lord_Howe"), "2026-04-04T14:45:00Z");
}

TEST(Calendar, refusesEveryOtherForm) {
  for (const std::string_view text :
       {"", "2026:11:15", "2026-11-15 19:13:17", "2026:11:15T19:13:17", "2026:11:15 19:13:1",
        "2026:11:15 19:13:171", "2026:11:15 19:13:17 ", " 2026:11:15 19:13:17", "2026:11:15  9:13:17",
        "2026:11:15 19:13:17Z", "2026:11:15 19.13.17", "+026:11:15 19:13:17", "2026:1a:15 19:13:17",
        "    :  :     :  :  ", "2026:11:15 -1:13:17", "26:11:15 19:13:17.0"}) {
    EXPECT_EQ(instantOf(text, "UTC"), "absent") << text;
  }
  EXPECT_EQ(instantOf(std::string_view("2026:11:15 19:13:17\0", 20), "UTC"), "absent");
}

TEST(Calendar, refusesDaysAndTimesThatDoNotExist) {
  for (const std::string_view text :
       {"0000:00:00 00:00:00", "2026:02:30 12:00:00", "2025:02:29 12:00:00", "1900:02:29 12:00:00",
        "2026:11:00 12:00:00", "2026:00:15 12:00:00", "2026:13:15 12:00:00", "2026:04:31 12:00:00",
        "2026:11:15 24:00:00", "2026:11:15 12:60:00", "2026:11:15 12:00:60", "2016:12:31 23:59:60"}) {
    EXPECT_EQ(instantOf(text, "UTC"), "absent") << text;
  }
}

TEST(Calendar, refusesWhatADateCannotReach) {
  for (const std::string_view text : {"0000:01:01 00:00:00", "0001:01:01 00:00:00", "1676:12:31 23:59:59",
                                      "2263:01:01 00:00:00", "9999:12:31 23:59:59"}) {
    EXPECT_EQ(instantOf(text, "UTC"), "absent") << text;
  }
  EXPECT_EQ(instantOf("1677:09:22 00:00:00", "UTC"), "1677-09-22T00:00:00Z");
  EXPECT_EQ(instantOf("2262:04:11 00:00:00", "UTC"), "2262-04-11T00:00:00Z");
}

TEST(Calendar, countsByGregoryBeforeGregory) {
  // Where a calendar switched to the Julian one, Britain's lost days of 1752 would be missing.
  EXPECT_EQ(instantOf("1752:09:05 00:00:00", "UTC"), "1752-09-05T00:00:00Z");
  EXPECT_EQ(textOf("1700-02-28T23:59:59Z", "UTC"), "1700:02:28 23:59:59");
  EXPECT_EQ(instantOf("1700:02:29 00:00:00", "UTC"), "absent");
}

TEST(Calendar, writesTheEndsOfDate) {
  EXPECT_EQ(exifDateText(Date::min(), TimeZone::utc()), "1677:09:21 00:12:43");
  EXPECT_EQ(exifDateText(Date::max(), TimeZone::utc()), "2262:04:11 23:47:16");
}

TEST(Calendar, cutsFractionsTowardsThePast) {
  EXPECT_EQ(exifDateText(dateSince1970(0, 999'999'999).value(), TimeZone::utc()), "1970:01:01 00:00:00");
  EXPECT_EQ(exifDateText(dateSince1970(-1, 999'999'999).value(), TimeZone::utc()), "1969:12:31 23:59:59");
  EXPECT_EQ(exifDateText(dateSince1970(-1, 0).value(), TimeZone::utc()), "1969:12:31 23:59:59");
}

TEST(Calendar, comesBackToEveryInstantOrToTheFirstOneOfTheSameText) {
  std::mt19937_64 random(7);
  std::uniform_int_distribution<std::int64_t> anyTime(-9'000'000'000, 9'000'000'000);
  for (const char* const name : zoneNames) {
    const TimeZone place = zone(name);
    for (int count = 0; count < 5'000; ++count) {
      const Date date = dateSince1970(anyTime(random)).value();
      const std::string text = exifDateText(date, place);
      const auto back = dateFromExifText(text, place);
      ASSERT_TRUE(back) << name << ' ' << iso8601Text(date);
      EXPECT_LE(*back, date) << name << ' ' << text;
      EXPECT_EQ(exifDateText(*back, place), text) << name;
    }
  }
}

// Every quarter of an hour of a few years meets every change of the clocks.
TEST(Calendar, comesBackToEveryInstantNearChangesOfTheClocks) {
  for (const char* const name : zoneNames) {
    const TimeZone place = zone(name);
    const Date end = dateFromISO8601("2019-01-01T00:00:00Z").value();
    for (Date date = dateFromISO8601("2018-01-01T00:00:00Z").value(); date < end;
         date += std::chrono::minutes(15)) {
      const std::string text = exifDateText(date, place);
      const auto back = dateFromExifText(text, place);
      ASSERT_TRUE(back) << name << ' ' << iso8601Text(date);
      ASSERT_LE(*back, date) << name << ' ' << text;
      ASSERT_EQ(exifDateText(*back, place), text) << name;
    }
  }
}

// Every quarter of an hour of a few years, as a clock counts that is never set: those that the zone's clock
// never shows are as far from the last one that it did show as that clock says.
TEST(Calendar, countsOnThroughSkippedTimes) {
  for (const auto& [name, years, expectedSkipped] :
       {std::tuple("Europe/Berlin", 2018, 4), std::tuple("Australia/Lord_Howe", 2018, 2),
        std::tuple("America/Sao_Paulo", 2018, 4), std::tuple("Pacific/Apia", 2011, 4 + 96),
        std::tuple("Europe/London", 1943, 4), std::tuple("America/New_York", 1960, 4),
        std::tuple("UTC", 2018, 0)}) {
    const TimeZone place = zone(name);
    const auto begin = std::chrono::sys_days(std::chrono::year(years) / 1 / 2);
    int skipped = 0;
    std::pair<LocalDateTime, Date> lastShown;
    for (LocalDateTime reading = begin; reading < begin + std::chrono::days(363);
         reading += std::chrono::minutes(15)) {
      const auto date = dateFromLocalDateTime(reading, place);
      ASSERT_TRUE(date) << name;
      if (exifDateText(*date, place) == localDateTimeText(reading, "0000:00:00 00:00:00")) {
        lastShown = {reading, *date};
        continue;
      }
      ++skipped;
      ASSERT_EQ(*date - lastShown.second, reading - lastShown.first) << name << ' ' << iso8601Text(*date);
    }
    EXPECT_EQ(skipped, expectedSkipped) << name;
  }
}

TEST(Calendar, answersOnManyThreadsAtOnce) {
  const TimeZone berlin = zone("Europe/Berlin");
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::vector<int> mistakes(4);
  for (int& count : mistakes) {
    threads.emplace_back([&count, berlin] {
      for (std::int64_t day = 0; day < 2'000; ++day) {
        const Date date = dateSince1970(1'700'000'000 + day * 86'400 * 10).value();
        count += dateFromExifText(exifDateText(date, berlin), berlin) == date ? 0 : 1;
        count += TimeZone::named("Asia/Kolkata")->name() == "Asia/Kolkata" ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(mistakes, std::vector<int>(4, 0));
}

TEST(TimeZone, isKnownByItsName) {
  for (const char* const name : zoneNames) {
    const auto found = TimeZone::named(name);
    ASSERT_TRUE(found) << name;
    EXPECT_EQ(found->name(), name);
  }
  EXPECT_EQ(TimeZone::utc().name(), "UTC");
}

TEST(TimeZone, isAbsentWhenTheDatabaseLacksIt) {
  for (const std::string_view name : {"", "Europe/Atlantis", "Etc/Unknown", "europe/berlin", "GMT+3",
                                      "GMT+03:30", "Europe/Berlin ", "../Berlin", "\xFF"}) {
    EXPECT_FALSE(TimeZone::named(name)) << name;
  }
}

TEST(TimeZone, currentFollowsTheEnvironment) {
  for (const char* const value :
       {"Asia/Kathmandu", ":Asia/Kathmandu", "/usr/share/zoneinfo/Asia/Kathmandu", "posix/Asia/Kathmandu"}) {
    const Environment environment(value);
    EXPECT_EQ(TimeZone::current().name(), "Asia/Kathmandu") << value;
  }
  const Environment environment("America/New_York");
  EXPECT_EQ(TimeZone::current().name(), "America/New_York");
}

TEST(TimeZone, currentIsUTCWhereTheEnvironmentNamesNoZone) {
  for (const char* const value : {"", "Europe/Atlantis", "CET-1CEST,M3.5.0,M10.5.0/3"}) {
    const Environment environment(value);
    EXPECT_EQ(TimeZone::current().name(), "UTC") << value;
  }
}

TEST(TimeZone, currentIsTheMachinesZoneWithoutEnvironment) {
  const Environment environment(nullptr);
  EXPECT_TRUE(TimeZone::named(TimeZone::current().name()));
}

}  // namespace tolvander::tests
