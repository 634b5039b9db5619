#pragma once

#include <atomic>
#include <thread>

#include "TolvanderCore/Cancellation.h"

namespace tolvander::shell {

// Turns Ctrl-C, and the system's request to end (SIGTERM), into a cancellation: the first stops the work at
// its next safe point and says so, the second ends the process at once. To be made before any other thread,
// since all threads have to leave the signal to this one.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  CancellationToken token() const { return source_.token(); }

 private:
  CancellationSource source_;
  std::atomic<bool> isEnding_ = false;
  std::thread waiter_;
};

}  // namespace tolvander::shell
