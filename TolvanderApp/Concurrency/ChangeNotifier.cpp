#include "TolvanderApp/Concurrency/ChangeNotifier.h"

#include <cstdint>
#include <map>
#include <utility>

namespace tolvander::app {

struct ChangeNotifier::State {
  void notify() {
    isPosted = false;
    const std::uint64_t end = nextNumber;
    for (auto next = observers.begin(); next != observers.end() && next->first < end;) {
      const auto [number, observer] = *next;  // a copy that lives while it runs, for it may unsubscribe
      (*observer)();
      next = observers.upper_bound(number);
    }
  }

  std::map<std::uint64_t, std::shared_ptr<const std::function<void()>>> observers;  // in the order of coming
  std::uint64_t nextNumber = 0;
  bool isPosted = false;
};

ChangeNotifier::ChangeNotifier(MainThread& mainThread)
    : mainThread_(mainThread), state_(std::make_shared<State>()) {}

void ChangeNotifier::changed() {
  if (std::exchange(state_->isPosted, true)) {
    return;
  }
  mainThread_.post([weakState = std::weak_ptr(state_)] {
    if (const auto state = weakState.lock()) {
      state->notify();
    }
  });
}

Subscription ChangeNotifier::observe(std::function<void()> observer) {
  const std::uint64_t number = state_->nextNumber++;
  state_->observers.emplace(number, std::make_shared<const std::function<void()>>(std::move(observer)));
  return Subscription([weakState = std::weak_ptr(state_), number] {
    if (const auto state = weakState.lock()) {
      state->observers.erase(number);
    }
  });
}

}  // namespace tolvander::app
