#include "Platform/Linux/PhotoLibrary/LibraryThread.h"

#include <utility>

namespace tolvander::platform::linux_ {

LibraryThread::LibraryThread() : thread_([this] { work(); }) {}

LibraryThread::~LibraryThread() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void LibraryThread::run(std::function<void()> job) {
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  changed_.notify_one();
}

void LibraryThread::work() {
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

}  // namespace tolvander::platform::linux_
