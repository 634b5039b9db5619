#pragma once

#include <optional>
#include <string>
#include <utility>

namespace tolvander::app {

// An available update, shown in the icon and the menu without interrupting the user.
struct UpdateReminder {
  std::optional<std::string> version;  // the update's version as people read it; absent without an update
  bool needsAttention = false;         // the user has not been shown it yet

  // An update is on offer. One that the user asked for is on the screen already.
  void willShowUpdate(std::string updateVersion, bool isUserInitiated) {
    version = std::move(updateVersion);
    needsAttention = !isUserInitiated;
  }
  // The user has looked at it.
  void didReceiveUserAttention() { needsAttention = false; }
  // It was installed, skipped or put off.
  void willFinishSession() { *this = {}; }

  friend bool operator==(const UpdateReminder&, const UpdateReminder&) = default;
};

}  // namespace tolvander::app
