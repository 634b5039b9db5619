#include "TolvanderCore/Concurrency/Turn.h"

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

Turn::Holder::Holder(Turn& turn) : turn_(turn) { retake(); }

Turn::Holder::~Holder() {
  if (held_) {
    release();
  }
}

void Turn::Holder::retake() {
  precondition(!held_, "a turn is taken once");
  std::unique_lock lock(turn_.mutex_);
  const std::uint64_t ticket = turn_.nextTicket_++;
  turn_.changed_.wait(lock, [&] { return turn_.serving_ == ticket; });
  held_ = true;
}

void Turn::Holder::release() {
  precondition(held_, "only a held turn can be given up");
  held_ = false;
  {
    const std::lock_guard lock(turn_.mutex_);
    ++turn_.serving_;
  }
  turn_.changed_.notify_all();
}

std::size_t Turn::waitingCount() const {
  const std::lock_guard lock(mutex_);
  const std::uint64_t holderAndWaiting = nextTicket_ - serving_;
  return holderAndWaiting == 0 ? 0 : static_cast<std::size_t>(holderAndWaiting - 1);
}

}  // namespace tolvander
