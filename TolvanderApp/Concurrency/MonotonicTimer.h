#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tolvander::app {

// A clock that never goes back, with alarms. Tests substitute it to control the time. Any thread.
class MonotonicTimer {
 public:
  using Instant = std::chrono::steady_clock::time_point;

  // Owns an alarm. Destroying it cancels the alarm; when its function is running on another thread, the
  // destructor waits for it.
  class Alarm {
   public:
    Alarm() = default;
    virtual ~Alarm() = default;
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
  };

  virtual ~MonotonicTimer() = default;

  virtual Instant now() const = 0;

  // Calls `function` once when `duration` has passed (0 or less: at once), on a thread of the timer's own and
  // under no lock of it. The function must not throw, must be short, since other alarms wait for it, and must
  // not wait for the thread that destroys the alarm. The alarm must not outlive the timer.
  [[nodiscard]] virtual std::unique_ptr<Alarm> after(std::chrono::nanoseconds duration,
                                                     std::function<void()> function) = 0;
};

}  // namespace tolvander::app
