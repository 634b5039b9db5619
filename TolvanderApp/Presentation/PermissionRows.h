#pragma once

#include <string>

#include "TolvanderApp/FaceControls.h"
#include "TolvanderApp/FaceState.h"

// The rows that setup and the panel share. Pure, any thread.
namespace tolvander::app {

// Access to the photo library.
PermissionRow photosRow(const FaceState& state);

// Notifications, which are optional: nothing about them needs the user.
PermissionRow notificationsRow(const FaceState& state, std::string title);

}  // namespace tolvander::app
