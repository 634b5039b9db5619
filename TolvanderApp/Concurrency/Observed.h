#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

#include "TolvanderApp/Concurrency/ChangeNotifier.h"
#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

// A field whose every assignment, also of an equal value, is a change that the notifier tells. Reads as the
// value. Main thread only.
template <typename T>
class Observed {
 public:
  // Called after each assignment, before it returns, with the value that the field had.
  using Action = std::function<void(const T& oldValue)>;

  // The notifier and whatever the action uses outlive the field. The initial value is no change.
  explicit Observed(ChangeNotifier& notifier, T initial = T(), Action didSet = {})
      : notifier_(notifier), value_(std::move(initial)), didSet_(std::move(didSet)) {}
  Observed(const Observed&) = delete;

  Observed& operator=(const Observed& other) { return *this = T(other.value_); }
  Observed& operator=(T value) {
    notifier_.changed();
    const T oldValue = std::exchange(value_, std::move(value));
    if (didSet_) {
      didSet_(oldValue);
    }
    for (const auto& observer : std::list(*observers_)) {
      observer(value_);
    }
    return *this;
  }

  // A change in place: `change` is given the value to alter. Counts as one assignment.
  template <typename Change>
  void update(Change&& change) {
    T value = value_;
    std::forward<Change>(change)(value);
    *this = std::move(value);
  }

  // For those who must not miss a value that lasts for a moment only, as the notifier lets them. The observer
  // is called after each assignment, before it returns, and must not assign.
  Subscription observe(std::function<void(const T& value)> observer) {
    const auto place = observers_->insert(observers_->end(), std::move(observer));
    return Subscription([observers = observers_, place] { observers->erase(place); });
  }

  const T& value() const { return value_; }
  operator const T&() const { return value_; }  // reads as the value, as a plain field does
  const T* operator->() const { return &value_; }
  const T& operator*() const { return value_; }

 private:
  using Observers = std::list<std::function<void(const T& value)>>;

  ChangeNotifier& notifier_;
  T value_;
  Action didSet_;
  std::shared_ptr<Observers> observers_ =
      std::make_shared<Observers>();  // a subscription may outlive the field
};

}  // namespace tolvander::app
