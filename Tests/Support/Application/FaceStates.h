#pragma once

#include <string>
#include <utility>

#include "Platform/Linux/Text/LinuxNames.h"
#include "Platform/MacOS/MacOSNames.h"
#include "TolvanderApp/FaceState.h"

// What there is to show, as tests of the faces want it. The names are those of macOS, under which the texts
// are tested to the letter.
namespace tolvander::tests {

inline app::ConnectedDeviceSummary connectedCharmera(std::string name = "CHARMERA") {
  const FileURL volume("/media/" + name);
  return {.volumeURL = volume, .displayName = std::move(name), .isCharmera = true};
}

// The first launch: nothing is allowed, saved or connected.
inline app::FaceState faceBeforeSetup() {
  app::FaceState state;
  state.statusMessage = "Waiting for connection";
  state.version.shortVersion = "1.4.2";
  state.names = platform::macos::systemNames();
  state.supportAddress = "help@example.org";
  return state;
}

// Setup is complete, everything is allowed, one camera is saved and connected, and nothing runs.
inline app::FaceState faceAfterSetup() {
  app::FaceState state = faceBeforeSetup();
  state.statusMessage = "Camera up to date";
  state.onboardingCompleted = true;
  state.photosPermissionStatus = app::PhotosPermissionStatus::authorized;
  state.notificationPermissionStatus = app::NotificationPermissionStatus::authorized;
  state.hasAuthorizedProfiles = true;
  state.hasAvailableRemovableVolumes = true;
  state.connectedDevices = {connectedCharmera()};
  return state;
}

inline app::FaceState onLinux(app::FaceState state) {
  state.names = platform::linux_::systemNames();
  return state;
}

}  // namespace tolvander::tests
