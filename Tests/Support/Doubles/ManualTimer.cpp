#include "Tests/Support/Doubles/ManualTimer.h"

namespace tolvander::tests {

class ManualTimer::SetAlarm final : public app::MonotonicTimer::Alarm {
 public:
  SetAlarm(ManualTimer& timer, Key key) : timer_(timer), key_(std::move(key)) {}
  ~SetAlarm() override {
    std::unique_lock lock(timer_.mutex_);
    timer_.waiting_.erase(key_);
    if (timer_.ringer_ != std::this_thread::get_id()) {
      timer_.ended_.wait(lock, [this] { return timer_.ringing_ != key_; });
    }
  }

 private:
  ManualTimer& timer_;
  const Key key_;
};

app::MonotonicTimer::Instant ManualTimer::now() const {
  const std::lock_guard lock(mutex_);
  return now_;
}

std::unique_ptr<app::MonotonicTimer::Alarm> ManualTimer::after(std::chrono::nanoseconds duration,
                                                               std::function<void()> function) {
  const std::lock_guard lock(mutex_);
  const Key key{now_ + duration, nextNumber_++};
  waiting_.emplace(key, std::move(function));
  durations_.push_back(duration);
  return std::make_unique<SetAlarm>(*this, key);
}

void ManualTimer::advance(std::chrono::nanoseconds duration) {
  std::unique_lock lock(mutex_);
  now_ += duration;
  while (!waiting_.empty() && waiting_.begin()->first.first <= now_) {
    auto alarm = waiting_.extract(waiting_.begin());
    ringing_ = alarm.key();
    ringer_ = std::this_thread::get_id();
    lock.unlock();
    alarm.mapped()();
    lock.lock();
    ringing_.reset();
    ringer_ = {};
    ended_.notify_all();
  }
}

std::size_t ManualTimer::alarmCount() const {
  const std::lock_guard lock(mutex_);
  return waiting_.size();
}

std::vector<std::chrono::nanoseconds> ManualTimer::durations() const {
  const std::lock_guard lock(mutex_);
  return durations_;
}

}  // namespace tolvander::tests
