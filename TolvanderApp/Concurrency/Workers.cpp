#include "TolvanderApp/Concurrency/Workers.h"

#include <utility>

namespace tolvander::app {

Workers::~Workers() { end(); }

void Workers::run(std::function<void()> job) {
  const std::lock_guard lock(mutex_);
  if (hasEnded_) {
    return;
  }
  if (jobs_.size() == free_) {
    threads_.emplace_back([this] { work(); });
    ++free_;
  }
  jobs_.push_back(std::move(job));
  changed_.notify_one();
}

void Workers::end() {
  std::vector<std::thread> threads;
  {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    threads.swap(threads_);
    changed_.notify_all();
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void Workers::work() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return hasEnded_ || !jobs_.empty(); });
    if (jobs_.empty()) {
      return;
    }
    auto job = std::move(jobs_.front());
    jobs_.pop_front();
    --free_;
    lock.unlock();
    job();
    job = nullptr;  // what it holds goes on this thread, and before the thread counts as free
    lock.lock();
    ++free_;
  }
}

}  // namespace tolvander::app
