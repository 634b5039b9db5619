#pragma once

#include <string>

#include "TolvanderApp/Platform/Window.h"

namespace tolvander::app {

// The program's one window. It survives being closed.
class SettingsWindow : public Window {
 public:
  virtual void setTitle(const std::string& title) = 0;
  // Takes the keyboard away from every control, so that no key press changes a setting.
  virtual void clearKeyboardFocus() = 0;
  // Makes the window as high as its contents, within the screen.
  virtual void fitToContents() = 0;
};

}  // namespace tolvander::app
