#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/Subscription.h"
#include "TolvanderApp/Platform/Window.h"

namespace tolvander::app {

// How the system presents the program. The values are those that the log records.
enum class ActivationPolicy : std::int64_t {
  regular = 0,    // like any program with windows: in the dock or the task bar
  accessory = 1,  // only its status item, until a window is shown
  prohibited = 2  // can't come to the front at all
};

// How the program and one of its windows are on the screen at this moment, for the log.
struct PresentationState {
  bool appActive = false;
  bool appHidden = false;
  bool windowVisible = false;
  bool windowKey = false;
  bool windowMain = false;
  std::int64_t activationPolicy = -1;  // ActivationPolicy; -1 for a program that has none
  bool workspaceFrontmost = false;

  friend bool operator==(const PresentationState&, const PresentationState&) = default;
};

// The running program as the system sees it. Belongs to the main thread, on which observers are called too.
class Application {
 public:
  virtual ~Application() = default;

  // Of this process, the program's name left out.
  virtual std::vector<std::string> arguments() = 0;
  // Asks the program to end in good order. Returns; the end comes later.
  virtual void terminate() = 0;
  // Asks every other process of this program to end. Returns before they have. Does nothing where the system
  // can't tell which they are.
  virtual void terminateOtherRunningCopies() = 0;

  virtual bool isActive() = 0;     // its windows receive the user's input
  virtual bool isHidden() = 0;     // the user has hidden all its windows
  virtual bool isFrontmost() = 0;  // the desktop reports this process as the one in front
  // Asks the system to make the program the active one. It may come later, or not at all.
  virtual void activate() = 0;

  // Absent for a program that has none, such as one without windows.
  virtual std::optional<ActivationPolicy> activationPolicy() = 0;
  // Returns whether the system has changed it.
  virtual bool setActivationPolicy(ActivationPolicy policy) = 0;

  // The window that receives the keyboard, and the one that the program's commands are about. Null where
  // there is none.
  virtual std::shared_ptr<Window> keyWindow() = 0;
  virtual std::shared_ptr<Window> mainWindow() = 0;

  // The program came to the front.
  virtual Subscription observeDidBecomeActive(std::function<void()> observer) = 0;
  // Another process, which is about to remove the program, asks it to let go of the system.
  virtual Subscription observePrepareUninstall(std::function<void()> observer) = 0;

  // With what is true of `window`; without a window it is invisible, and neither key nor main.
  PresentationState presentationState(Window* window) {
    const auto policy = activationPolicy();
    return {.appActive = isActive(),
            .appHidden = isHidden(),
            .windowVisible = window != nullptr && window->isVisible(),
            .windowKey = window != nullptr && window->isKey(),
            .windowMain = window != nullptr && window->isMain(),
            .activationPolicy = policy ? static_cast<std::int64_t>(*policy) : -1,
            .workspaceFrontmost = isFrontmost()};
  }
};

}  // namespace tolvander::app
