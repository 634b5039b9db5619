#include "TolvanderApp/Presentation/SetupFace.h"

#include "TolvanderApp/Presentation/PermissionRows.h"
#include "TolvanderApp/Presentation/Symbols.h"
#include "TolvanderApp/Presentation/Wording.h"

namespace tolvander::app {

namespace {

using Kind = FaceAction::Kind;
using Control = KeyboardFocus::Control;

bool isCameraConnected(const FaceState& state) {
  return state.hasAuthorizedProfiles && !state.connectedDevices.empty();
}

std::string cameraLabel(const FaceState& state) {
  if (state.isRequestingCameraAccess) {
    return state.names.waitingForCameraChoice;
  }
  if (state.removableVolumeAccessIssue) {
    return "Access Needed";
  }
  if (isCameraConnected(state)) {
    return "Ready";
  }
  if (state.hasAuthorizedProfiles) {
    return "Drive Saved";
  }
  return state.hasAvailableRemovableVolumes ? "Ready to Connect" : "Waiting for connection";
}

bool isCameraReady(const FaceState& state) {
  return !state.isRequestingCameraAccess && !state.removableVolumeAccessIssue && isCameraConnected(state);
}

std::string cameraExplanation(const FaceState& state) {
  if (state.removableVolumeAccessIssue) {
    return "Can’t read " + printable(state.removableVolumeAccessIssue->volumeName) + ". " +
           state.names.volumeRetryAdvice;
  }
  if (needsCameraSelection(state)) {
    return "Select your Charmera’s drive again to reconnect.";
  }
  if (isCameraConnected(state)) {
    return "Tolvander will remember this drive.";
  }
  return state.hasAvailableRemovableVolumes ? "Select your Charmera’s drive. Tolvander will remember it."
                                            : "Connect your Charmera via USB.";
}

// The model refuses a drive while another one is chosen, and during work.
FaceButton chooseDriveButton(const FaceState& state) {
  const bool wasChosen = state.hasAuthorizedProfiles || state.removableVolumeAccessIssue;
  return {.title = wasChosen ? "Choose Drive Again" : "Choose Charmera Drive",
          .action = {Kind::addDevice},
          .isEnabled = !state.isRequestingCameraAccess && !state.isWorking(),
          .focus = KeyboardFocus{Control::addDevice}};
}

PermissionRow cameraRow(const FaceState& state) {
  PermissionRow row = {.title = "Charmera",
                       .symbol = "externaldrive",
                       .label = cameraLabel(state),
                       .labelSymbol = isCameraReady(state) ? symbols::done : symbols::attention,
                       .explanation = cameraExplanation(state),
                       .buttons = {chooseDriveButton(state)}};
  if (state.removableVolumeAccessIssue && state.names.removableVolumeSettingsButton) {
    row.buttons.push_back({.title = *state.names.removableVolumeSettingsButton,
                           .action = {Kind::openRemovableVolumeSettings},
                           .focus = KeyboardFocus{Control::removableVolumePermission}});
  }
  return row;
}

}  // namespace

bool needsCameraSelection(const FaceState& state) {
  return state.hasAuthorizedProfiles && state.connectedDevices.empty() &&
         state.hasAvailableRemovableVolumes && !state.isWorking();
}

std::string firstSyncHint(const FaceState& state) {
  if (state.canStartFirstSync) {
    return "Previously imported photos and videos will be skipped.";
  }
  if (!state.hasPhotosAccess()) {
    return "Allow Photos access to continue.";
  }
  if (isCameraConnected(state)) {
    return "Wait for the current operation to finish.";
  }
  return state.hasAvailableRemovableVolumes ? "Choose your Charmera’s drive to continue."
                                            : "Connect your Charmera to continue.";
}

SetupContents setupContents(const FaceState& state) {
  SetupContents contents = {
      .title = "Welcome to Tolvander",
      .line =
          "Automatically import photos and videos from your Charmera into " + state.names.photoLibrary + ".",
      .photos = {.header = "1. " + state.names.photoLibraryTitle, .row = photosRow(state)},
      .camera = {.header = "2. Your Camera",
                 .row = cameraRow(state),
                 .failure = state.savedCameraAccessError},
      .notifications = {.header = "3. Notifications (Optional)",
                        .row = notificationsRow(state, "Notifications")},
      .finish = {.title = "Finish and sync",
                 .action = {Kind::finishAndSync},
                 .isEnabled = state.canStartFirstSync},
      .hint = firstSyncHint(state),
      .failure = std::nullopt};
  if (state.lastError) {
    contents.failure = failureOfFile(state.lastErrorFile, printable(*state.lastError));
  }
  return contents;
}

}  // namespace tolvander::app
