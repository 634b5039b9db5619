#pragma once

#include <optional>
#include <string>

namespace tolvander::app {

// An available update, shown in the icon and the menu without interrupting the user.
struct UpdateReminder {
  std::optional<std::string> version;  // the update's version as people read it; absent without an update
  bool needsAttention = false;         // the user has not been shown it yet

  friend bool operator==(const UpdateReminder&, const UpdateReminder&) = default;
};

}  // namespace tolvander::app
