#pragma once

#include <memory>

#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/PermissionFocusRecovery.h"

namespace tolvander::app {

// What surrounds a prompt of the system that the user is to answer: the program comes to the front for it,
// and the window that asked comes back when it has gone.
class PermissionRequests {
 public:
  explicit PermissionRequests(ModelContext& context);

  UUID begin();
  void complete(const UUID& requestID) { focusRecovery_.complete(requestID); }
  // Of the program and of the window that asks.
  PresentationState presentationState();

 private:
  std::shared_ptr<Window> askingWindow();

  Application& application_;
  PermissionFocusRecovery focusRecovery_;
};

}  // namespace tolvander::app
