#pragma once

#include "TolvanderApp/FaceState.h"

namespace tolvander::app {

// Whether the user who has not given access to the library is asked for it, and not sent to a place of the
// system's settings: where no answer was given yet, and where the system has no such place.
inline bool asksForPhotosAccess(const FaceState& state) {
  return state.photosPermissionStatus == PhotosPermissionStatus::notDetermined ||
         !state.names.hasPhotosSettings;
}

}  // namespace tolvander::app
