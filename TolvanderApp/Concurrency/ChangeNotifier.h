#pragma once

#include <functional>
#include <memory>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

// Tells observers that something has changed. Main thread only.
class ChangeNotifier {
 public:
  explicit ChangeNotifier(MainThread& mainThread);

  // Every observer is called once, from a function posted now, in the order of their coming; further changes
  // until then are part of the same notification. One that an observer makes gives a new notification.
  void changed();

  // The observer is called until the subscription ends, which may be while it is being called, and may be
  // after the end of the notifier. It must not throw. One that comes after a change, but before its
  // notification, is called too.
  Subscription observe(std::function<void()> observer);

 private:
  struct State;

  MainThread& mainThread_;
  std::shared_ptr<State> state_;
};

}  // namespace tolvander::app
