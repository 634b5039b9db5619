#include "TolvanderCore/Foundation/ISO8601.h"

#include <algorithm>
#include <chrono>

#include "TolvanderCore/Foundation/LocalDateTime.h"

namespace tolvander {

namespace {

constexpr std::string_view form = "0000-00-00T00:00:00Z";

}  // namespace

std::string iso8601Text(Date date) {
  return localDateTimeText(std::chrono::floor<std::chrono::seconds>(date), form);
}

std::optional<Date> dateFromISO8601(std::string_view text) {
  const auto time = localDateTimeFromText(text, form);
  return time ? dateSince1970(time->time_since_epoch().count()) : std::nullopt;
}

std::optional<Date> nearestDateFromISO8601(std::string_view text) {
  using std::chrono::seconds;
  const auto time = localDateTimeFromText(text, form);
  if (!time) {
    return std::nullopt;
  }
  return std::clamp(*time, std::chrono::ceil<seconds>(Date::min()), std::chrono::floor<seconds>(Date::max()));
}

}  // namespace tolvander
