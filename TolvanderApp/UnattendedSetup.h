#pragma once

#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

class AppModel;

// Does what a user at the screens would do, for a program that runs without one: completes setup as soon as
// there is a camera to sync and a library to take its files, and looks at the permissions again when a camera
// comes, since a library that could not be used may have come back. Main thread only.
class UnattendedSetup {
 public:
  // Completes setup at once where that is possible. The model has been started, and outlives this object.
  explicit UnattendedSetup(AppModel& model);

 private:
  void completeWhenPossible();
  void lookAgainWhenACameraCame();

  AppModel& model_;
  bool hasCamera_;
  Subscription changes_;
  Subscription cameras_;
};

}  // namespace tolvander::app
