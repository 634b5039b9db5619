#pragma once

#include <optional>

#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Leads the user to the system's settings.
class SystemSettingsFlow {
 public:
  explicit SystemSettingsFlow(ModelContext& context) : context_(context) {}

  void open(std::optional<SystemSettingsPane> pane);

 private:
  ModelContext& context_;
};

}  // namespace tolvander::app
