#pragma once

#include <vector>

#include "TolvanderApp/SettingsContents.h"

namespace tolvander::app {

// The status row of the panel, and what a check found, below it. Pure, any thread.
StatusSection statusSection(const FaceState& state);
std::vector<ReviewEntry> reviewEntries(const FaceState& state);

}  // namespace tolvander::app
