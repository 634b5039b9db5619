#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander {

// Dates as text in the one form of ISO 8601-1:2019 that the system's files use: UTC, whole seconds and a
// trailing Z, "2026-11-15T19:13:17Z".

// Fractions of a second are rounded down.
std::string iso8601Text(Date date);

// Absent for every other form (fractions, an offset, blanks, lower case), for a day or a time of day that
// doesn't exist (including leap seconds), and for an instant outside the range of Date.
std::optional<Date> dateFromISO8601(std::string_view text);

// The same, but an instant outside the range of Date gives the nearest whole second within it.
std::optional<Date> nearestDateFromISO8601(std::string_view text);

}  // namespace tolvander
