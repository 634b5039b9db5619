#pragma once

#include <functional>

#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::app {

// One window of the program. Belongs to the main thread, on which observers are called too. Nothing here
// fails: a system that refuses a request leaves the window as it is.
class Window {
 public:
  virtual ~Window() = default;

  virtual bool isVisible() = 0;         // on the screen, also where other windows cover it; not in the dock
  virtual bool isMiniaturized() = 0;    // in the dock or the task bar
  virtual bool isKey() = 0;             // receives the keyboard
  virtual bool isMain() = 0;            // the one that the program's commands are about
  virtual bool hasAttachedSheet() = 0;  // a dialog is attached to it

  // Whether the window vanishes while another program is in front.
  virtual void setHidesOnDeactivate(bool hides) = 0;
  // Shows the window in front of the program's other windows and gives it the keyboard.
  virtual void makeKeyAndOrderFront() = 0;
  // Shows the window in front of those of other programs, also while one of them is active.
  virtual void orderFrontRegardless() = 0;

  // The window is about to close; it is still visible then.
  virtual Subscription observeWillClose(std::function<void()> observer) = 0;
};

}  // namespace tolvander::app
