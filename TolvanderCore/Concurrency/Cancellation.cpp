#include "TolvanderCore/Concurrency/Cancellation.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace tolvander {

class CancellationState {
 public:
  bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }

  void cancel() {
    std::unique_lock lock(mutex_);
    if (cancelled_.exchange(true, std::memory_order_acq_rel)) {
      return;
    }
    runner_ = std::this_thread::get_id();
    while (!waiting_.empty()) {
      running_ = waiting_.front();
      waiting_.erase(waiting_.begin());
      lock.unlock();
      (*running_)();
      lock.lock();
      running_ = nullptr;
      ended_.notify_all();
    }
  }

  // Returns false if the cancellation came first; the caller then calls the function itself.
  bool add(const std::function<void()>* function) {
    const std::lock_guard lock(mutex_);
    if (isCancelled()) {
      return false;
    }
    waiting_.push_back(function);
    return true;
  }

  void remove(const std::function<void()>* function) {
    std::unique_lock lock(mutex_);
    std::erase(waiting_, function);
    if (runner_ !=
        std::this_thread::get_id()) {  // a callback that destroys itself must not wait for its own end
      ended_.wait(lock, [&] { return running_ != function; });
    }
  }

 private:
  std::atomic<bool> cancelled_ = false;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::vector<const std::function<void()>*> waiting_;
  const std::function<void()>* running_ = nullptr;
  std::thread::id runner_;  // the thread that cancelled
};

bool CancellationToken::isCancelled() const { return state_ && state_->isCancelled(); }

void CancellationToken::throwIfCancelled() const {
  if (isCancelled()) {
    throw CancellationError();
  }
}

CancellationSource::CancellationSource() : state_(std::make_shared<CancellationState>()) {}

void CancellationSource::cancel() {
  const auto state = state_;  // a callback may destroy this source
  state->cancel();
}

CancellationCallback::CancellationCallback(const CancellationToken& token, std::function<void()> function)
    : state_(token.state_), function_(std::move(function)) {
  if (state_ && !state_->add(&function_)) {
    function_();
  }
}

CancellationCallback::~CancellationCallback() {
  if (state_) {
    state_->remove(&function_);
  }
}

}  // namespace tolvander
