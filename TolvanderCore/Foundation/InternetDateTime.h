#pragma once

#include <optional>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander {

// Dates as other programs write them into media: the Internet profile of ISO 8601 (RFC 3339) with a capital T
// and either "Z" or an offset from UTC, "+02:00", "+0200" or "+02". Both functions return absent for other
// forms, for days and times that don't exist, and for instants outside the range of Date.

// "2026-11-15T19:13:17Z": whole seconds only.
std::optional<Date> dateFromInternetDateTime(std::string_view text);

// "2026-11-15T19:13:17.25+01:00": only with a fraction, of 1 to 9 digits.
std::optional<Date> dateFromInternetDateTimeWithFractionalSeconds(std::string_view text);

}  // namespace tolvander
