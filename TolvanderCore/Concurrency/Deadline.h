#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// A timer beside a piece of work that watches a token: cancels the work when its time is up, and when the
// task that it belongs to is cancelled. Measures time that doesn't follow the wall clock. Made, asked and
// destroyed on the thread that does the work.
class Deadline {
 public:
  // Nothing left of the time from the start (0 or less) is a time that is up at once.
  Deadline(const CancellationToken& task, std::chrono::nanoseconds allowed);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  // For the work to watch.
  CancellationToken token() const { return work_.token(); }

  // The work has ended: stops the timer. Returns whether that came before the timer's end. May be called
  // again with the same answer.
  bool metByEndingNow();

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
