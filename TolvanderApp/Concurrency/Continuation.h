#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander::app {

// Lets one thread wait for a value from another. Used once. Both threads share ownership, because the waiting
// one may go on and end before the other has returned from `resume`.
template <typename Value>
class Continuation {
 public:
  // Once, on any thread; doesn't block. A second call is a programming error.
  void resume(Value value) {
    {
      const std::lock_guard lock(mutex_);
      precondition(!value_, "a continuation is resumed once");
      value_.emplace(std::move(value));
    }
    resumed_.notify_one();
  }

  // Blocks until it is resumed, and hands out the value. By one thread, once.
  Value wait() {
    std::unique_lock lock(mutex_);
    resumed_.wait(lock, [this] { return value_.has_value(); });
    return std::move(*value_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable resumed_;
  std::optional<Value> value_;
};

}  // namespace tolvander::app
