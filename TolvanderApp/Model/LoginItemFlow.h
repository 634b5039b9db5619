#pragma once

#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Whether the program is started at login. The system decides that: the setting follows what it says.
class LoginItemFlow {
 public:
  explicit LoginItemFlow(ModelContext& context) : context_(context) {}

  void setEnabled(bool enabled);
  void refresh();

 private:
  ModelContext& context_;
};

}  // namespace tolvander::app
