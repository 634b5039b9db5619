#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// A time limit for a piece of work. Cancels the work when the time is up, and when the task that the work
// belongs to is cancelled. The time is measured by a clock that is never set. Each object runs a thread. To
// be constructed, used and destroyed on the thread that does the work.
class Deadline {
 public:
  // The time starts now. A duration of 0 or less expires immediately.
  Deadline(const CancellationToken& task, std::chrono::nanoseconds allowed);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  // The token that the work checks.
  CancellationToken token() const { return work_.token(); }

  // To be called when the work has ended: stops the timer. Returns whether the deadline was met. Further
  // calls return the same answer.
  bool stop();

 private:
  enum class State { running, met, missed };

  void wait(std::chrono::nanoseconds allowed);

  CancellationSource work_;
  CancellationCallback taskCancelled_;
  std::mutex mutex_;
  std::condition_variable ended_;
  State state_ = State::running;
  std::thread timer_;
};

}  // namespace tolvander
