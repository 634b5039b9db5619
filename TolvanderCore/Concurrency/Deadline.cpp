#include "TolvanderCore/Concurrency/Deadline.h"

namespace tolvander {

Deadline::Deadline(const CancellationToken& task, std::chrono::nanoseconds allowed)
    : taskCancelled_(task, [this] { work_.cancel(); }), timer_([this, allowed] { wait(allowed); }) {}

Deadline::~Deadline() {
  stop();
  timer_.join();
}

bool Deadline::stop() {
  const std::lock_guard lock(mutex_);
  if (state_ == State::running) {
    state_ = State::met;
    ended_.notify_all();
  }
  return state_ == State::met;
}

void Deadline::wait(std::chrono::nanoseconds allowed) {
  {
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, allowed, [this] { return state_ != State::running; })) {
      return;
    }
    state_ = State::missed;
  }
  work_.cancel();
}

}  // namespace tolvander
