#pragma once

#include <functional>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

// The running program as the system sees it. Belongs to the main thread, on which observers are called too.
class Application {
 public:
  virtual ~Application() = default;

  // Of this process, the program's name left out.
  virtual std::vector<std::string> arguments() = 0;
  // Asks the program to end in good order. Returns; the end comes later.
  virtual void terminate() = 0;

  // The program came to the front.
  virtual Subscription observeDidBecomeActive(std::function<void()> observer) = 0;
  // Another process, which is about to remove the program, asks it to let go of the system.
  virtual Subscription observePrepareUninstall(std::function<void()> observer) = 0;
};

}  // namespace tolvander::app
