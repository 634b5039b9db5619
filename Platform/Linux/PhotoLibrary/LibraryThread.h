#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tolvander::platform::linux_ {

// A thread that does one job after the other, in the order in which they came.
class LibraryThread {
 public:
  LibraryThread();
  // Waits until all jobs are done, those that are added meanwhile among them. Not to be called by a job.
  ~LibraryThread();
  LibraryThread(const LibraryThread&) = delete;
  LibraryThread& operator=(const LibraryThread&) = delete;

  // Returns at once. A job must not throw.
  void run(std::function<void()> job);

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace tolvander::platform::linux_
