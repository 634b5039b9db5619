#pragma once

namespace tolvander::app {

// What the system says of the program's entry among the things that are opened at login.
enum class LoginItemStatus { notRegistered, enabled, requiresApproval, notFound };

// The program's login item. Belongs to the main thread. Changes go through LaunchAtLoginService.
class LoginItem {
 public:
  virtual ~LoginItem() = default;

  virtual LoginItemStatus status() = 0;
  // Throws the platform's error where the item can't be changed.
  virtual void setEnabled(bool enabled) = 0;

  // Earlier releases registered the program in another form, in which it opens its window at login. The
  // defaults are those of a system on which there never was one.
  virtual LoginItemStatus olderStatus() { return LoginItemStatus::notFound; }
  // Throws like `setEnabled`.
  virtual void removeOlder() {}
};

}  // namespace tolvander::app
