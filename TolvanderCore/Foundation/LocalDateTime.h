#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tolvander {

// A date and a time of day without a time zone, as a clock and a calendar show them, in the proleptic
// Gregorian calendar. It is kept as though the clock showed UTC: subtracting a zone's offset from UTC gives
// the instant.
using LocalDateTime = std::chrono::sys_seconds;

// The text forms are given as a sample of zeros: four digits of the year, then two each of month, day, hour,
// minute and second, with one character between two numbers and any text after the last:
// "0000-00-00T00:00:00Z".

// `time` must lie in the years 0 to 9999.
std::string localDateTimeText(LocalDateTime time, std::string_view form);

// Absent if `text` differs from `form` in anything but its digits, or names a day or a time of day that
// doesn't exist. A leap second (60) doesn't exist.
std::optional<LocalDateTime> localDateTimeFromText(std::string_view text, std::string_view form);

}  // namespace tolvander
