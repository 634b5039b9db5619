#include "TolvanderCore/Platform/DateText.h"

#include <unicode/datefmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <chrono>
#include <memory>

#include "Platform/Linux/Text/UserLocale.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

namespace {

using Format = std::unique_ptr<icu::DateFormat>;

// The root locale has numbers in the place of the months' names ("2026 M11 20"). International English has
// the same clock, and names.
icu::Locale localeOfDates() {
  const icu::Locale locale = platform::linux_::userLocale("LC_TIME");
  return locale == icu::Locale::getRoot() ? icu::Locale("en_150") : locale;
}

// A format is made for each text: a screen shows one or two, and the user may change the locale's settings.
std::string formatted(Date date, const TimeZone& zone, const Format& format) {
  precondition(format != nullptr, "ICU has its date formats");
  format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone.name())));
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(date.time_since_epoch());
  icu::UnicodeString characters;
  format->format(static_cast<UDate>(milliseconds.count()), characters);
  std::string text;
  return characters.toUTF8String(text);
}

}  // namespace

std::string timeText(Date date, const TimeZone& zone) {
  return formatted(date, zone,
                   Format(icu::DateFormat::createTimeInstance(icu::DateFormat::kShort, localeOfDates())));
}

std::string dateAndTimeText(Date date, const TimeZone& zone) {
  return formatted(date, zone,
                   Format(icu::DateFormat::createDateTimeInstance(icu::DateFormat::kMedium,
                                                                  icu::DateFormat::kShort, localeOfDates())));
}

bool isSameDay(Date left, Date right, const TimeZone& zone) {
  constexpr std::size_t lengthOfDay = 10;  // "yyyy:MM:dd"
  return exifDateText(left, zone).substr(0, lengthOfDay) == exifDateText(right, zone).substr(0, lengthOfDay);
}

}  // namespace tolvander
