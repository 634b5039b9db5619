#include "TolvanderApp/Concurrency/TimerQueue.h"

namespace tolvander::app {

namespace {

// Holds for durations of centuries too.
MonotonicTimer::Instant instantAfter(MonotonicTimer::Instant start, std::chrono::nanoseconds duration) {
  return duration < MonotonicTimer::Instant::max() - start ? start + duration
                                                           : MonotonicTimer::Instant::max();
}

}  // namespace

class TimerQueue::QueuedAlarm final : public MonotonicTimer::Alarm {
 public:
  QueuedAlarm(TimerQueue& queue, Key key) : queue_(queue), key_(std::move(key)) {}
  ~QueuedAlarm() override { queue_.takeBack(key_); }

 private:
  TimerQueue& queue_;
  const Key key_;
};

TimerQueue::TimerQueue() : thread_([this] { run(); }) {}

TimerQueue::~TimerQueue() {
  {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

std::unique_ptr<MonotonicTimer::Alarm> TimerQueue::after(std::chrono::nanoseconds duration,
                                                         std::function<void()> function) {
  const Instant due = instantAfter(now(), duration);
  Key key;
  {
    const std::lock_guard lock(mutex_);
    key = {due, nextNumber_++};
    waiting_.emplace(key, std::move(function));
  }
  changed_.notify_one();
  return std::make_unique<QueuedAlarm>(*this, std::move(key));
}

void TimerQueue::run() {
  std::unique_lock lock(mutex_);
  while (!isStopping_) {
    if (waiting_.empty()) {
      changed_.wait(lock);
      continue;
    }
    const Instant due = waiting_.begin()->first.first;
    if (due > now()) {
      changed_.wait_until(lock, due);
      continue;
    }
    auto alarm = waiting_.extract(waiting_.begin());
    ringing_ = alarm.key();
    lock.unlock();
    alarm.mapped()();
    alarm = {};  // what the function holds is let go under no lock
    lock.lock();
    ringing_.reset();
    ended_.notify_all();
  }
}

void TimerQueue::takeBack(const Key& key) {
  decltype(waiting_)::node_type alarm;  // what the function holds is let go under no lock
  std::unique_lock lock(mutex_);
  alarm = waiting_.extract(key);
  if (std::this_thread::get_id() != thread_.get_id()) {  // an alarm may be destroyed by its own function
    ended_.wait(lock, [&] { return ringing_ != key; });
  }
}

}  // namespace tolvander::app
