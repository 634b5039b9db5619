#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "TolvanderApp/Concurrency/MonotonicTimer.h"

namespace tolvander::tests {

// A clock that doesn't advance until a test advances it. Alarms ring on the thread that does so.
class ManualTimer final : public app::MonotonicTimer {
 public:
  Instant now() const override;
  [[nodiscard]] std::unique_ptr<Alarm> after(std::chrono::nanoseconds duration,
                                             std::function<void()> function) override;

  void advance(std::chrono::nanoseconds duration);

  // Alarms that are set and have not rung.
  std::size_t alarmCount() const;
  // All that `after` was ever asked for.
  std::vector<std::chrono::nanoseconds> durations() const;

 private:
  class SetAlarm;
  using Key = std::pair<Instant, std::uint64_t>;

  mutable std::mutex mutex_;
  std::condition_variable ended_;
  std::optional<Key> ringing_;
  std::thread::id ringer_;
  Instant now_{std::chrono::hours(1000)};
  std::uint64_t nextNumber_ = 0;
  std::map<Key, std::function<void()>> waiting_;
  std::vector<std::chrono::nanoseconds> durations_;
};

}  // namespace tolvander::tests
