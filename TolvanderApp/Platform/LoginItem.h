#pragma once

namespace tolvander::app {

// What the system says of the program's entry among the things that are opened at login.
enum class LoginItemStatus { notRegistered, enabled, requiresApproval, notFound };

// The program's login item. Belongs to the main thread.
class LoginItem {
 public:
  virtual ~LoginItem() = default;

  virtual LoginItemStatus status() = 0;
  // Throws the platform's error where the item can't be changed.
  virtual void setEnabled(bool enabled) = 0;
};

}  // namespace tolvander::app
