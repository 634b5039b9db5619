#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "Platform/Linux/System/DescriptorWatcher.h"

namespace tolvander::tests {

// Watches one descriptor, for which the test reports the events.
class ManualDescriptorWatcher final : public platform::linux_::DescriptorWatcher {
 public:
  app::Subscription watch(int, std::uint32_t events, std::function<void(std::uint32_t)> function) override {
    events_ = events;
    function_ = std::move(function);
    return app::Subscription([this] { function_ = nullptr; });
  }

  void report() const {
    const auto function = function_;  // it may end its own watch
    function(events_);
  }

  bool isWatching() const { return function_ != nullptr; }
  std::uint32_t events() const { return events_; }

 private:
  std::uint32_t events_ = 0;
  std::function<void(std::uint32_t)> function_;
};

}  // namespace tolvander::tests
