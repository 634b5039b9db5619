#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tolvander {

// Runs jobs one at a time, in the order in which they were posted, on a thread that belongs to the queue. A
// job must not throw. Its function object is destroyed before the next job runs. Safe on every thread.
class SerialQueue {
 public:
  SerialQueue();
  // Runs the jobs that are left, including those that they post, and waits for them. Not to be called by a
  // job.
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  // Adds a job and returns at once. Throws std::bad_alloc, and then adds nothing.
  void post(std::function<void()> job);

  // Adds a job and returns when it has run. Not to be called by a job, which would wait for itself.
  void runAndWait(const std::function<void()>& job);

 private:
  void work();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> jobs_;
  bool isEnding_ = false;
  std::thread thread_;  // declared last, because it uses the other members as soon as it starts
};

}  // namespace tolvander
