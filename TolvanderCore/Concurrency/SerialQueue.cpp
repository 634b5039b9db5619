#include "TolvanderCore/Concurrency/SerialQueue.h"

#include <utility>

namespace tolvander {

SerialQueue::SerialQueue() : thread_([this] { work(); }) {}

SerialQueue::~SerialQueue() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void SerialQueue::post(std::function<void()> job) {
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  changed_.notify_all();
}

void SerialQueue::runAndWait(const std::function<void()>& job) {
  bool isDone = false;
  post([&] {
    job();
    // The notification is sent under the lock: afterwards this function may have returned.
    const std::lock_guard lock(mutex_);
    isDone = true;
    changed_.notify_all();
  });
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return isDone; });
}

void SerialQueue::work() {
  while (true) {
    std::function<void()> job;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return isEnding_ || !jobs_.empty(); });
      if (jobs_.empty()) {
        return;
      }
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    job();
  }
}

}  // namespace tolvander
