#pragma once

#include <functional>
#include <memory>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

// Notifies observers that something has changed. Main thread only.
class ChangeNotifier {
 public:
  explicit ChangeNotifier(MainThread& mainThread);

  // Posts a function that calls every observer once, in the order of their subscription. Further changes
  // until that function runs cause no other notification. A change that is made by an observer causes a new
  // one.
  void changed();

  // The observer is called until the subscription ends. It must not throw. The subscription may end within a
  // call of the observer, and may outlive the notifier. An observer that subscribes after a change, but
  // before its notification, is called for it too.
  Subscription observe(std::function<void()> observer);

 private:
  struct State;

  MainThread& mainThread_;
  std::shared_ptr<State> state_;
};

}  // namespace tolvander::app
