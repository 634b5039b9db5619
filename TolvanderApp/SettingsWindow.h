#pragma once

#include <string>

#include "TolvanderApp/Platform/Window.h"
#include "TolvanderApp/SettingsContents.h"

namespace tolvander::app {

// The program's one window. It survives being closed.
class SettingsWindow : public Window {
 public:
  // Draws what the program shows now. Called when the window is made and at each change.
  virtual void show(const SettingsContents& contents) = 0;
  virtual void setTitle(const std::string& title) = 0;
  // Takes the keyboard away from every control, so that no key press changes a setting.
  virtual void clearKeyboardFocus() = 0;
  // Makes the window as high as its contents, within the screen.
  virtual void fitToContents() = 0;
};

}  // namespace tolvander::app
