#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/FaceAction.h"
#include "TolvanderApp/FaceState.h"

namespace tolvander::app {

// One line of the menu. Texts are plain and without control characters; a toolkit that gives a character a
// special meaning, such as "&", escapes it.
struct MenuItem {
  bool isSeparator = false;  // of which nothing else is set
  std::string title{};
  std::optional<std::string> symbol{};  // the name of a system symbol
  bool isEnabled = true;
  std::optional<FaceAction> action{};          // absent in a line that only informs
  std::optional<std::string> keyEquivalent{};  // the character to be pressed with the system's command key
  std::optional<std::string> toolTip{};
  std::optional<std::size_t> tag{};  // of an eject item: its place in `menuDevices`

  friend bool operator==(const MenuItem&, const MenuItem&) = default;
};

// The menu of the status icon. Pure, any thread.
struct MenuContents {
  std::vector<MenuItem> items;
  std::vector<ConnectedDeviceSummary> menuDevices;  // those that the menu offers to eject

  static MenuContents of(const FaceState& state);

  friend bool operator==(const MenuContents&, const MenuContents&) = default;
};

// The command that opens the window, for a system that has a menu for the program besides that of the icon.
MenuItem openSettingsCommand();

}  // namespace tolvander::app
