#pragma once

#include <functional>
#include <list>
#include <memory>
#include <utility>

#include "TolvanderApp/Concurrency/ChangeNotifier.h"
#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

// A value that can be read and observed. Every assignment, also of an equal value, counts as a change. Main
// thread only.
template <typename T>
class Observed {
 public:
  // Called after each assignment, before it returns, with the value that the field had.
  using Action = std::function<void(const T& oldValue)>;

  // `notifier`, which reports every assignment, and whatever the action uses must outlive the value. Neither
  // is called for the initial value.
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
    for (const auto& observer : std::list(*observers_)) {  // a copy: an observer may end its subscription
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

  // For observers that must see every value: the notifier reports several assignments as one change.
  // `observer` is called after each assignment and after the action, before the assignment returns, and must
  // not assign. The subscription may outlive the observed value.
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
  std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
};

struct ObservedTestPeer;  // defined by the tests, to set up states that are hard to reach otherwise

// An observed value that everyone can read and observe, and that only `Owner` can assign. The owner lets
// parts of itself assign it by giving them an `Observed<T>&`, to which only the owner can convert it.
template <typename T, typename Owner>
class OwnedObserved : private Observed<T> {
 public:
  explicit OwnedObserved(ChangeNotifier& notifier, T initial = T(), typename Observed<T>::Action didSet = {})
      : Observed<T>(notifier, std::move(initial), std::move(didSet)) {}
  OwnedObserved& operator=(const OwnedObserved&) = delete;

  using Observed<T>::observe;
  using Observed<T>::value;
  using Observed<T>::operator const T&;
  using Observed<T>::operator->;
  using Observed<T>::operator*;

 private:
  friend Owner;
  friend ObservedTestPeer;

  using Observed<T>::operator=;
  using Observed<T>::update;
};

}  // namespace tolvander::app
