#include "TolvanderApp/Program/ModelActions.h"

#include <algorithm>
#include <variant>

namespace tolvander::app {

namespace {

template <typename T>
const T& argumentOf(const FaceAction& action) {
  return std::get<T>(action.argument);
}

// Null where that camera has no review any more.
const DeviceLibraryReview* reviewOf(const AppModel& model, const FileURL& volumeURL) {
  const auto& reviews = model.libraryReviews.value();
  const auto found = std::ranges::find_if(
      reviews, [&](const DeviceLibraryReview& review) { return review.device.volumeURL == volumeURL; });
  return found == reviews.end() ? nullptr : &*found;
}

void rememberMatchesOf(AppModel& model, const FileURL& volumeURL) {
  if (const auto* review = reviewOf(model, volumeURL)) {
    model.rememberVerifiedMatches(*review);
  }
}

void importItemsMissingFrom(AppModel& model, const FileURL& volumeURL) {
  if (const auto* review = reviewOf(model, volumeURL)) {
    model.restoreMissingImports(*review);
  }
}

}  // namespace

void performOnModel(AppModel& model, const FaceAction& action) {
  switch (action.kind) {
    using enum FaceAction::Kind;
    case openSettings:
    case quit:
    case showAvailableUpdate:
    case reportBug:
      break;  // the program's
    case requestPhotosAccess:
      model.requestPhotosAccess();
      break;
    case openPhotosSettings:
      model.openSystemSettings(SystemSettingsPane::photos);
      break;
    case openRemovableVolumeSettings:
      model.openSystemSettings(SystemSettingsPane::removableVolumes);
      break;
    case requestNotificationPermission:
      model.requestNotificationPermission(model.beginPermissionRequest());
      break;
    case openNotificationSettings:
      model.openNotificationSettings();
      break;
    case approveLoginItem:
      model.openSystemSettings(SystemSettingsPane::loginItems);
      break;
    case finishAndSync:
      model.completeOnboardingAndSync();
      break;
    case checkNow:
      model.checkNow();
      break;
    case stopCheck:
      model.stopCheck();
      break;
    case checkPhotos:
      model.verifyCameraInPhotos();
      break;
    case rememberMatches:
      rememberMatchesOf(model, argumentOf<FileURL>(action));
      break;
    case importMissingItems:
      importItemsMissingFrom(model, argumentOf<FileURL>(action));
      break;
    case ejectDevice:
      model.ejectDevice(argumentOf<ConnectedDeviceSummary>(action));
      break;
    case setLaunchAtLogin:
      model.setLaunchAtLogin(argumentOf<bool>(action));
      break;
    case setDeleteAfterSync:
      model.setDeleteAfterSync(argumentOf<bool>(action));
      break;
    case setAutoEjectAfterSync:
      model.setAutoEjectAfterSync(argumentOf<bool>(action));
      break;
    case setAddToAlbum:
      model.setAddToAlbum(argumentOf<bool>(action));
      break;
    case selectAlbum:
      model.selectAlbum(argumentOf<std::string>(action));
      break;
    case createAlbum:
      model.presentCreateAlbum();
      break;
    case clearTrash:
      model.clearManagedTrash(argumentOf<DeviceTrashSummary>(action));
      break;
    case addDevice:
      model.addDevice();
      break;
    case removeDevice:
      model.removeDevice(argumentOf<UUID>(action));
      break;
  }
}

}  // namespace tolvander::app
