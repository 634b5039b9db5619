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

// The functions and timers of a main thread, for implementations of MainThread. Main thread only, except
// `post`, which any thread may call.
class MainQueue {
 public:
  // `wake` makes the loop look at the queue again. It is called without a lock, on any thread, when a
  // function is posted to an empty queue.
  explicit MainQueue(std::function<void()> wake) : wake_(std::move(wake)) {}
  ~MainQueue() { close(); }
  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  void post(std::function<void()> function);
  // The delay is limited to between 0 and a hundred years.
  Subscription addTimer(MainThread::Instant now, std::chrono::nanoseconds delay,
                        std::function<void()> function);

  bool hasPosted() const;
  // When the first timer is due; absent without timers.
  std::optional<MainThread::Instant> nextDue() const;

  // Runs the functions that are in the queue now, but not those that they post.
  void runPosted();
  // Runs the first timer if it is due at `now`. Returns whether it was.
  bool runDueTimer(MainThread::Instant now);

  // Destroys all functions and timers without running them, and from now on every new one.
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
