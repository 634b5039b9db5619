#pragma once

#include "TolvanderApp/MenuContents.h"
#include "TolvanderApp/StatusIcon.h"

namespace tolvander::app {

// The program's icon in the menu bar or the tray, and its menu. Belongs to the main thread. Where the system
// has no place for one, nothing is shown.
class StatusItem {
 public:
  virtual ~StatusItem() = default;

  virtual void showIcon(const StatusIcon& icon) = 0;
  // Replaces the contents of the menu, also while it is open.
  virtual void showMenu(const MenuContents& menu) = 0;
};

}  // namespace tolvander::app
