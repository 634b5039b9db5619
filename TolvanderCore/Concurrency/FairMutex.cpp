#include "TolvanderCore/Concurrency/FairMutex.h"

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

void FairMutex::lock() {
  std::unique_lock lock(mutex_);
  const std::uint64_t ticket = nextTicket_++;
  changed_.wait(lock, [&] { return serving_ == ticket; });
}

void FairMutex::unlock() {
  {
    const std::lock_guard lock(mutex_);
    precondition(serving_ != nextTicket_, "only a locked mutex can be unlocked");
    ++serving_;
  }
  changed_.notify_all();
}

std::size_t FairMutex::waitingCount() const {
  const std::lock_guard lock(mutex_);
  const std::uint64_t holderAndWaiting = nextTicket_ - serving_;
  return holderAndWaiting == 0 ? 0 : static_cast<std::size_t>(holderAndWaiting - 1);
}

}  // namespace tolvander
