#include "TolvanderApp/Concurrency/MainQueue.h"

#include <algorithm>

namespace tolvander::app {

void MainQueue::post(std::function<void()> function) {
  {
    const std::lock_guard lock(mutex_);
    if (isClosed_) {
      return;
    }
    posted_.push_back(std::move(function));
    if (posted_.size() > 1) {
      return;
    }
  }
  wake_();
}

Subscription MainQueue::addTimer(MainThread::Instant now, std::chrono::nanoseconds delay,
                                 std::function<void()> function) {
  if (isClosed_) {
    return {};
  }
  constexpr std::chrono::nanoseconds longest = std::chrono::years(100);
  const Place place(now + std::clamp(delay, std::chrono::nanoseconds(0), longest), timers_->made++);
  timers_->waiting.emplace(place, std::move(function));
  return Subscription([weakTimers = std::weak_ptr(timers_), place] {
    if (const auto timers = weakTimers.lock()) {
      timers->waiting.extract(place);  // what the function holds goes when the map is whole again
    }
  });
}

bool MainQueue::hasPosted() const {
  const std::lock_guard lock(mutex_);
  return !posted_.empty();
}

std::optional<MainThread::Instant> MainQueue::nextDue() const {
  const auto& waiting = timers_->waiting;
  return waiting.empty() ? std::nullopt : std::optional(waiting.begin()->first.first);
}

void MainQueue::runPosted() {
  std::size_t count = 0;
  {
    const std::lock_guard lock(mutex_);
    count = posted_.size();
  }
  while (count > 0 && runOnePosted()) {
    --count;
  }
}

bool MainQueue::runOnePosted() {
  std::function<void()> function;
  {
    const std::lock_guard lock(mutex_);
    if (posted_.empty()) {
      return false;
    }
    function = std::move(posted_.front());
    posted_.pop_front();
  }
  function();
  return true;
}

bool MainQueue::runDueTimer(MainThread::Instant now) {
  auto& waiting = timers_->waiting;
  if (waiting.empty() || waiting.begin()->first.first > now) {
    return false;
  }
  const auto timer = waiting.extract(waiting.begin());
  timer.mapped()();
  return true;
}

void MainQueue::close() {
  std::deque<std::function<void()>> posted;
  {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    posted.swap(posted_);
  }
  const auto timers = std::exchange(timers_->waiting, {});
}

}  // namespace tolvander::app
