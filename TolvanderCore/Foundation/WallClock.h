#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tolvander {

// Date and time of day as a clock shows them, in the proleptic Gregorian calendar, as text of a fixed form.
//
// A form is a sample of zeros: four digits of the year, then two each of month, day, hour, minute and second,
// with one character between two numbers and any text behind the last ("0000-00-00T00:00:00Z").

// The reading of the clock counted as though the clock showed UTC; a zone's offset, taken from it, gives the
// instant.
using WallClockTime = std::chrono::sys_seconds;

// `time` must lie in the years 0 to 9999.
std::string wallClockText(WallClockTime time, std::string_view form);

// Absent when `text` differs from `form` in anything but its digits, or names a day or a time of day that
// doesn't exist (a leap second among them).
std::optional<WallClockTime> wallClockTimeFromText(std::string_view text, std::string_view form);

}  // namespace tolvander
