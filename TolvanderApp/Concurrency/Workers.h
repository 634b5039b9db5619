#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tolvander::app {

// Threads for blocking jobs. A job gets a free thread, or a new one when none is free, so that no job waits
// for another. Any thread may call it, except its own threads.
class Workers {
 public:
  Workers() = default;
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // The job must not throw. After `end` it is destroyed without being run.
  void run(std::function<void()> job);

  // Takes no more jobs, and waits until those that it has are done. A second call does nothing.
  void end();

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;  // taken, not begun; never more than there are free threads
  std::size_t free_ = 0;
  bool hasEnded_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tolvander::app
