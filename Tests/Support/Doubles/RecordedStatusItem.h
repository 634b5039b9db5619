#pragma once

#include <string>
#include <vector>

#include "TolvanderApp/StatusItem.h"

namespace tolvander::tests {

// Keeps what is shown last, and counts how often that changed.
class RecordedStatusItem final : public app::StatusItem {
 public:
  app::StatusIcon icon;
  app::MenuContents menu;
  int iconsShown = 0;
  int menusShown = 0;

  std::vector<std::string> titles() const {
    std::vector<std::string> texts;
    for (const auto& item : menu.items) {
      texts.push_back(item.isSeparator ? "-" : item.title);
    }
    return texts;
  }

  void showIcon(const app::StatusIcon& newIcon) override {
    icon = newIcon;
    ++iconsShown;
  }
  void showMenu(const app::MenuContents& newMenu) override {
    menu = newMenu;
    ++menusShown;
  }
};

}  // namespace tolvander::tests
