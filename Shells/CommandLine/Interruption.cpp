#include "Shells/CommandLine/Interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "Shells/CommandLine/Command.h"

namespace tolvander::shell {

namespace {

constexpr int endOfWaiting = SIGUSR1;

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, endOfWaiting);
  return signals;
}

void waitForSignals(CancellationSource source, const std::atomic<bool>& isEnding) {
  const sigset_t signals = watchedSignals();
  int signal = 0;
  while (sigwait(&signals, &signal) == 0 && !isEnding) {
    if (signal != SIGINT && signal != SIGTERM) {
      continue;  // sent by somebody else
    }
    if (source.token().isCancelled()) {
      _exit(static_cast<int>(ExitStatus::stopped));
    }
    std::cerr << "Stopping at the next safe point. Press Ctrl-C again to end at once.\n";
    source.cancel();
  }
}

}  // namespace

Interruption::Interruption() {
  const sigset_t signals = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  waiter_ = std::thread([this] { waitForSignals(source_, isEnding_); });
}

Interruption::~Interruption() {
  isEnding_ = true;
  pthread_kill(waiter_.native_handle(), endOfWaiting);
  waiter_.join();
}

}  // namespace tolvander::shell
