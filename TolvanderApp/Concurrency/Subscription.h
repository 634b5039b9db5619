#pragma once

#include <functional>
#include <utility>

namespace tolvander::app {

// Something that goes on until this object ends: an observer, a timer, a watched file. Belongs to one thread,
// the main thread unless its maker says otherwise. A default subscription stands for nothing.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::function<void()> end) : end_(std::move(end)) {}
  ~Subscription() { end(); }
  Subscription(Subscription&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      end();
      end_ = std::exchange(other.end_, nullptr);
    }
    return *this;
  }

  // Ends it now. A second call does nothing.
  void end() {
    if (const auto function = std::exchange(end_, nullptr)) {
      function();
    }
  }

 private:
  std::function<void()> end_;
};

}  // namespace tolvander::app
