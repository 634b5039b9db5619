#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderApp/Platform/Window.h"

namespace tolvander::app {

struct AlertPanelButton {
  std::string title;
  std::string accessibilityLabel{};  // empty: the title
  bool isEnabled = true;
  bool isCancel = false;  // Escape presses it
  // Absent: the button ends the panel. Otherwise the panel stays open: pressing the button calls this
  // function, and the button has the title that it returns from then on.
  std::function<std::string()> action{};
};

// An alert whose buttons can be disabled, or do something without ending it.
struct AlertPanel {
  Alert::Style style = Alert::Style::informational;
  std::string message;
  std::string informativeText;
  std::vector<AlertPanelButton> buttons;
  std::shared_ptr<Window>
      sheetOf{};  // the window that it is attached to; null: the whole program waits for it
};

// Shows such alerts. Belongs to the main thread.
class AlertPanels {
 public:
  virtual ~AlertPanels() = default;

  // Gives the place of the button that ended the panel, once the panel is gone. A panel that is closed in
  // another way counts as cancelled.
  virtual Task<std::size_t> run(AlertPanel panel) = 0;
};

}  // namespace tolvander::app
