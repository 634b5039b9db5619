#pragma once

#include "TolvanderApp/SettingsContents.h"

namespace tolvander::app {

// The window until setup is complete. Pure, any thread.
SetupContents setupContents(const FaceState& state);

}  // namespace tolvander::app
