#include "TolvanderCore/Platform/DateText.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

namespace tolvander {
namespace {

using namespace std::chrono_literals;

// 2026-11-20 14:05:59.9 UTC.
const Date date{std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 14h + 5min + 59s + 900ms};

TimeZone zone(const char* name) { return *TimeZone::named(name); }

// The texts follow the environment of the moment, which each test leaves as it was.
class DateText : public testing::Test {
 protected:
  DateText() { unsetenv("LC_ALL"); }
  ~DateText() override {
    restore("LC_ALL", all_);
    restore("LC_TIME", time_);
  }

  static void useLocale(const char* locale) { setenv("LC_TIME", locale, 1); }

 private:
  static std::optional<std::string> environment(const char* name) {
    const char* const value = getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  }
  static void restore(const char* name, const std::optional<std::string>& value) {
    if (value) {
      setenv(name, value->c_str(), 1);
    } else {
      unsetenv(name);
    }
  }

  const std::optional<std::string> all_ = environment("LC_ALL");
  const std::optional<std::string> time_ = environment("LC_TIME");
};

TEST_F(DateText, followsTheUsersLocale) {
  useLocale("en_US.UTF-8");
  EXPECT_EQ(timeText(date, TimeZone::utc()), "2:05\u202FPM");
  EXPECT_EQ(dateAndTimeText(date, TimeZone::utc()), "Nov 20, 2026, 2:05\u202FPM");
  useLocale("de_DE.UTF-8");
  EXPECT_EQ(timeText(date, TimeZone::utc()), "14:05");
  EXPECT_EQ(dateAndTimeText(date, TimeZone::utc()), "20.11.2026, 14:05");
}

TEST_F(DateText, isEnglishWithoutALanguage) {
  for (const char* const locale : {"C", "C.UTF-8", "POSIX", "en_US_POSIX"}) {
    useLocale(locale);
    EXPECT_EQ(timeText(date, TimeZone::utc()), "14:05") << locale;
    EXPECT_EQ(dateAndTimeText(date, TimeZone::utc()), "20 Nov 2026, 14:05") << locale;
  }
}

TEST_F(DateText, isThatOfTheZone) {
  useLocale("C");
  EXPECT_EQ(timeText(date, zone("Asia/Tokyo")), "23:05");
  EXPECT_EQ(dateAndTimeText(date, zone("Pacific/Auckland")), "21 Nov 2026, 03:05");
}

TEST_F(DateText, roundsTimesBefore1970Down) {
  useLocale("C");
  EXPECT_EQ(timeText(Date(-1ns), TimeZone::utc()), "23:59");
}

TEST_F(DateText, dayBeginsAtMidnightOfTheZone) {
  const TimeZone berlin = zone("Europe/Berlin");
  const Date midnight{std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) +
                      23h};  // of the 21st, in Berlin
  EXPECT_TRUE(isSameDay(midnight, midnight + 23h, berlin));
  EXPECT_FALSE(isSameDay(midnight - 1s, midnight, berlin));
  EXPECT_TRUE(isSameDay(midnight - 1s, midnight, TimeZone::utc()));
  EXPECT_FALSE(isSameDay(midnight, midnight + std::chrono::years(1), berlin));
}

}  // namespace
}  // namespace tolvander
