#include "TolvanderCore/Foundation/Date.h"

namespace tolvander {

std::optional<Date> dateSince1970(std::int64_t seconds, std::int64_t nanoseconds) {
  constexpr std::int64_t perSecond = 1'000'000'000;
  // Before 1970, both parts are counted back from the next full second: the earliest instants of Date are in
  // a second whose beginning is outside its range.
  if (seconds < 0) {
    ++seconds;
    nanoseconds -= perSecond;
  }
  std::int64_t total = 0;
  if (__builtin_mul_overflow(seconds, perSecond, &total) ||
      __builtin_add_overflow(total, nanoseconds, &total)) {
    return std::nullopt;
  }
  return Date(std::chrono::nanoseconds(total));
}

DateDistance distanceBetween(Date left, Date right) {
  const auto since1970 = [](Date date) {
    return static_cast<std::uint64_t>(date.time_since_epoch().count());
  };
  return DateDistance(left < right ? since1970(right) - since1970(left) : since1970(left) - since1970(right));
}

}  // namespace tolvander
