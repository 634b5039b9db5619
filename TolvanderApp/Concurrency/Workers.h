#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tolvander::app {

// Threads for jobs that block. Every job has a thread to itself from the start, however many run, so that
// none waits for another; a thread that has become free takes the next job. Any thread but its own may use
// it.
class Workers {
 public:
  Workers() = default;
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Must not throw. A job that comes after the end is destroyed without being run.
  void run(std::function<void()> job);

  // Takes no more jobs, and waits for those that were taken. A second call does nothing.
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
