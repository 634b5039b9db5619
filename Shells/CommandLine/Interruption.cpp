#include "Shells/CommandLine/Interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "Shells/CommandLine/Command.h"

namespace tolvander::shell {

namespace {

constexpr int endOfWaiting = SIGUSR1;

// As nohup leaves SIGHUP. A watched signal would be seen all the same.
bool isIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, endOfWaiting);
  if (!isIgnored(SIGHUP)) {
    sigaddset(&signals, SIGHUP);
  }
  return signals;
}

void waitForSignals(CancellationSource source, const std::atomic<bool>& isEnding) {
  const sigset_t signals = watchedSignals();
  int signal = 0;
  while (sigwait(&signals, &signal) == 0 && !isEnding) {
    if (signal == endOfWaiting) {
      continue;  // sent from outside
    }
    if (source.token().isCancelled()) {
      if (signal == SIGHUP) {
        continue;  // a closed terminal sends several, by its shell and by the kernel
      }
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
