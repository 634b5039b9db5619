#pragma once

#include <functional>
#include <utility>

namespace tolvander::app {

// Owns a registration (an observer, a timer, a watched file) and ends it in the destructor. For one thread
// only: the main thread, unless the function that returned it says otherwise. A default-constructed
// subscription is empty.
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
