#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "TolvanderApp/Concurrency/MainThread.h"

namespace tolvander::app {

// What waits to be run on the main thread, for those who build a loop. All but `post` is for the main thread.
class MainQueue {
 public:
  // `wake` makes the loop come back to the queue. It is called without a lock, on any thread, when a function
  // comes into an empty queue.
  explicit MainQueue(std::function<void()> wake) : wake_(std::move(wake)) {}
  ~MainQueue() { close(); }
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  void post(std::function<void()> function);
  // A delay below 0 counts as 0, one beyond a hundred years as that.
  Subscription addTimer(MainThread::Instant now, std::chrono::nanoseconds delay,
                        std::function<void()> function);

  bool hasPosted() const;
  // When the loop has to come back for a timer. Absent: never.
  std::optional<MainThread::Instant> nextDue() const;

  // Runs the functions that are there at this moment, and none that they post.
  void runPosted();
  // Runs the first timer if it is due at `now`. Returns whether it was.
  bool runDueTimer(MainThread::Instant now);

  // Destroys everything, and from now on all that comes.
  void close();

 private:
  using Place = std::pair<MainThread::Instant, std::uint64_t>;  // the instant, then the order of making
  struct Timers {
    std::map<Place, std::function<void()>> waiting;
    std::uint64_t made = 0;
  };

  bool runOnePosted();

  const std::function<void()> wake_;
  mutable std::mutex mutex_;
  std::deque<std::function<void()>> posted_;
  bool isClosed_ = false;
  std::shared_ptr<Timers> timers_ = std::make_shared<Timers>();  // a subscription may outlive the queue
};

}  // namespace tolvander::app
