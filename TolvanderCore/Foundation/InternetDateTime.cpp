#include "TolvanderCore/Foundation/InternetDateTime.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "TolvanderCore/Foundation/ISO8601.h"

namespace tolvander {

namespace {

constexpr std::size_t secondsLength = std::string_view("2026-11-15T19:13:17").size();

std::optional<std::int64_t> number(std::string_view digits) {
  if (digits.empty() || digits.size() > 9) {
    return std::nullopt;
  }
  std::int64_t value = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') {
      return std::nullopt;
    }
    value = value * 10 + (digit - '0');
  }
  return value;
}

// Seconds east of UTC.
std::optional<std::int64_t> offset(std::string_view zone) {
  if (zone == "Z") {
    return 0;
  }
  if (!zone.starts_with('+') && !zone.starts_with('-')) {
    return std::nullopt;
  }
  std::string digits(zone.substr(1));
  if (digits.size() == 5 && digits[2] == ':') {
    digits.erase(2, 1);
  } else if (digits.size() == 2) {
    digits += "00";
  }
  const auto value = digits.size() == 4 ? number(digits) : std::nullopt;
  if (!value || *value / 100 > 23 || *value % 100 > 59) {
    return std::nullopt;
  }
  const std::int64_t seconds = (*value / 100 * 60 + *value % 100) * 60;
  return zone.front() == '-' ? -seconds : seconds;
}

std::optional<Date> combine(std::string_view secondsText, std::string_view zone, std::int64_t nanoseconds) {
  const auto date = dateFromISO8601(std::string(secondsText) + "Z");
  const auto east = offset(zone);
  if (!date || !east) {
    return std::nullopt;
  }
  const auto seconds = std::chrono::floor<std::chrono::seconds>(*date).time_since_epoch().count();
  return dateSince1970(seconds - *east, nanoseconds);
}

}  // namespace

std::optional<Date> dateFromInternetDateTime(std::string_view text) {
  if (text.size() <= secondsLength) {
    return std::nullopt;
  }
  return combine(text.substr(0, secondsLength), text.substr(secondsLength), 0);
}

std::optional<Date> dateFromInternetDateTimeWithFractionalSeconds(std::string_view text) {
  if (text.size() <= secondsLength || text[secondsLength] != '.') {
    return std::nullopt;
  }
  const std::string_view rest = text.substr(secondsLength + 1);
  const std::string_view digits = rest.substr(0, std::min(rest.find_first_of("Z+-"), rest.size()));
  const auto fraction = number(digits);
  if (!fraction) {
    return std::nullopt;
  }
  const auto nanoseconds = number(std::string(digits) + std::string(9 - digits.size(), '0'));
  return combine(text.substr(0, secondsLength), rest.substr(digits.size()), *nanoseconds);
}

}  // namespace tolvander
