#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/WallClock.h"

namespace tolvander {

// A time zone of the IANA database. A value: copies are cheap and safe on every thread.
class TimeZone {
 public:
  // By its name ("Europe/Berlin"), or absent when the database has no such zone.
  static std::optional<TimeZone> named(std::string_view name);

  // The user's zone at the time of the call; UTC where the system doesn't say.
  static TimeZone current();

  static TimeZone utc();

  const std::string& name() const;

  // What the calendar's answer keeps about the zone.
  struct Rules;
  const Rules& rules() const { return *rules_; }

 private:
  explicit TimeZone(std::shared_ptr<const Rules> rules) : rules_(std::move(rules)) {}
  std::shared_ptr<const Rules> rules_;
};

// Exif 2.32 date text, "yyyy:MM:dd HH:mm:ss", in the proleptic Gregorian calendar.

// The wall-clock time of `date` in `zone`. Fractions of a second are cut off towards the past.
std::string exifDateText(Date date, const TimeZone& zone);

// The instant at which a clock in `zone` shows `reading`. A reading that the zone skips (the hour lost when
// daylight saving begins) counts with the offset from before the change, as on a clock that was not set
// forward yet; of a reading that the zone has twice (the hour won when it ends), the first is taken. Absent
// outside the reach of Date.
std::optional<Date> dateFromWallClock(WallClockTime reading, const TimeZone& zone);

// The same for a reading as text. Absent also when the text has another form or names a day or time that
// exists nowhere.
std::optional<Date> dateFromExifText(std::string_view text, const TimeZone& zone);

}  // namespace tolvander
