#pragma once

#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander {

// Dates as people read them, in the language and the form of the user's locale, UTF-8. Where the locale names
// no language ("C", "POSIX"), English with a clock of 24 hours. All operations are safe on every thread and
// throw nothing.

// The time of day without seconds: "14:05", "2:05 PM".
std::string timeText(Date date, const TimeZone& zone);

// The date with the month's short name, and the time of day without seconds: "20 Nov 2026, 14:05".
std::string dateAndTimeText(Date date, const TimeZone& zone);

// Whether a calendar in `zone` shows the same day for both.
bool isSameDay(Date left, Date right, const TimeZone& zone);

}  // namespace tolvander
