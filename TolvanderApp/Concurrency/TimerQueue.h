#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "TolvanderApp/Concurrency/MonotonicTimer.h"

namespace tolvander::app {

// The machine's monotonic clock, with one thread for all alarms. Their functions are called in the order in
// which they are due; those that are due at the same instant in the order in which they were set.
class TimerQueue final : public MonotonicTimer {
 public:
  TimerQueue();

  // Cancels the alarms that are still set. Waits for a function that is running.
  ~TimerQueue() override;

  Instant now() const override { return std::chrono::steady_clock::now(); }
  [[nodiscard]] std::unique_ptr<Alarm> after(std::chrono::nanoseconds duration,
                                             std::function<void()> function) override;

 private:
  class QueuedAlarm;
  using Key = std::pair<Instant, std::uint64_t>;  // when it is due, and a number that no other alarm has

  void run();
  void takeBack(const Key& key);

  std::mutex mutex_;
  std::condition_variable changed_;  // the first alarm is another, or the end has come
  std::condition_variable ended_;    // an alarm has rung
  std::map<Key, std::function<void()>> waiting_;
  std::optional<Key> ringing_;
  std::uint64_t nextNumber_ = 0;
  bool isStopping_ = false;
  std::thread thread_;  // last: uses all of the above
};

}  // namespace tolvander::app
