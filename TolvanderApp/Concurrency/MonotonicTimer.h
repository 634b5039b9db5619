#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tolvander::app {

// A clock that never goes back and its alarm. The seam by which tests drive time themselves. Every operation
// is safe on every thread.
class MonotonicTimer {
 public:
  using Instant = std::chrono::steady_clock::time_point;

  // An alarm that was set. Destroying it takes the alarm back, or waits for a run on another thread to end;
  // from then on the function is not called.
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
