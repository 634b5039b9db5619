#pragma once

#include <optional>
#include <string>

#include "TolvanderApp/FaceState.h"

namespace tolvander::app {

// The icon by which the program is seen while no window is open. Pure, any thread.
struct StatusIcon {
  std::optional<std::string> badgeSymbol;  // the name of a system symbol, drawn over the program's mark
  std::string toolTip;                     // also what a screen reader says

  static StatusIcon of(const FaceState& state);

  friend bool operator==(const StatusIcon&, const StatusIcon&) = default;
};

}  // namespace tolvander::app
