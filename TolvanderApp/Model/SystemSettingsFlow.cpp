#include "TolvanderApp/Model/SystemSettingsFlow.h"

namespace tolvander::app {

void SystemSettingsFlow::open(std::optional<SystemSettingsPane> pane) {
  SystemSettings& settings = context_.platform.systemSettings;
  if (pane && settings.open(*pane)) {
    return;
  }
  if (!settings.open()) {
    context_.showFailure(context_.platform.systemNames.systemSettingsFailure);
  }
}

}  // namespace tolvander::app
