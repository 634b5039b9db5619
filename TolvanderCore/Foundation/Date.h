#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <ratio>

namespace tolvander {

// An instant, in nanoseconds since 1970-01-01T00:00:00Z without leap seconds. The range is 1677-09-21 to
// 2262-04-11.
using Date = std::chrono::sys_time<std::chrono::nanoseconds>;

// The instant `seconds` and `nanoseconds` after 1970, as file systems store it. Absent outside the range of
// Date. `nanoseconds` is from 0 to 999,999,999, also for instants before 1970.
std::optional<Date> dateSince1970(std::int64_t seconds, std::int64_t nanoseconds = 0);

// The time between two instants in either order. Unsigned, so that it can't overflow.
using DateDistance = std::chrono::duration<std::uint64_t, std::nano>;
DateDistance distanceBetween(Date left, Date right);

}  // namespace tolvander
