#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/LocalDateTime.h"

namespace tolvander {

// A time zone of the IANA database. A value: copies are cheap and safe on every thread.
class TimeZone {
 public:
  // The zone with this name ("Europe/Berlin"). Absent if the database has no such zone.
  static std::optional<TimeZone> named(std::string_view name);

  // The user's zone at the time of the call; UTC if the system has none set.
  static TimeZone current();

  static TimeZone utc();

  const std::string& name() const;

  // The zone's data, defined by the platform's implementation.
  struct Rules;
  const Rules& rules() const { return *rules_; }

 private:
  explicit TimeZone(std::shared_ptr<const Rules> rules) : rules_(std::move(rules)) {}
  std::shared_ptr<const Rules> rules_;
};

// Exif 2.32 date text, "yyyy:MM:dd HH:mm:ss", in the proleptic Gregorian calendar.

// The local time of `date` in `zone`. Fractions of a second are rounded down.
std::string exifDateText(Date date, const TimeZone& zone);

// The instant at which a clock in `zone` shows `time`. A time that the zone skips (the hour lost when
// daylight saving begins) is taken with the offset from before the change. Of a time that occurs twice (the
// hour gained when it ends), the first is taken. Absent outside the range of Date.
std::optional<Date> dateFromLocalDateTime(LocalDateTime time, const TimeZone& zone);

// The same for text of the form above. Absent also if the text has another form, or names a day or a time of
// day that doesn't exist.
std::optional<Date> dateFromExifText(std::string_view text, const TimeZone& zone);

}  // namespace tolvander
