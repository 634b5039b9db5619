#pragma once

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/FaceAction.h"

namespace tolvander::app {

// Starts the model's operation that a control is for. An action whose subject is gone, such as the review of
// a camera that was unplugged, does nothing, and neither does one that is not the model's. Main thread only.
void performOnModel(AppModel& model, const FaceAction& action);

}  // namespace tolvander::app
