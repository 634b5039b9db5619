#pragma once

#include <atomic>
#include <thread>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::shell {

// Turns Ctrl-C, the system's request to end (SIGTERM) and the end of the terminal (SIGHUP) into a
// cancellation: the first stops the work at its next safe point and says so, a second Ctrl-C or SIGTERM ends
// the process at once. SIGHUP stays without effect where the program was started with it ignored (nohup). To
// be made before any other thread, since all threads have to leave the signals to this one.
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
