#include "TolvanderApp/FaceAssembly.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "TolvanderCore/Platform/DateText.h"

namespace tolvander::app {

namespace {

std::optional<ShownDate> shown(const std::optional<Date>& date, const FaceSurroundings& surroundings) {
  if (!date) {
    return std::nullopt;
  }
  return ShownDate{.time = timeText(*date, surroundings.zone),
                   .dateAndTime = dateAndTimeText(*date, surroundings.zone),
                   .isToday = isSameDay(*date, surroundings.now, surroundings.zone)};
}

ShownReview shown(const DeviceLibraryReview& entry) {
  return {.volumeURL = entry.device.volumeURL,
          .cameraName = entry.device.displayName,
          .counts = ReviewCounts::of(entry)};
}

std::vector<ShownReview> shown(const std::vector<DeviceLibraryReview>& reviews) {
  std::vector<ShownReview> shownReviews;
  std::ranges::transform(reviews, std::back_inserter(shownReviews),
                         [](const DeviceLibraryReview& entry) { return shown(entry); });
  return shownReviews;
}

}  // namespace

FaceState faceStateOf(const AppModel& model, const FaceSurroundings& surroundings) {
  const AppSettings& settings = model.settings();
  return {.statusMessage = model.statusMessage,
          .settingsStatusDetail = model.settingsStatusDetail(),
          .settingsStatusDetailHelp = model.settingsStatusDetailHelp(),
          .settingsStatusDate = shown(model.settingsStatusDate(), surroundings),
          .settingsStatusSymbol = model.settingsStatusSymbol(),
          .showsAttentionBadge = model.showsAttentionBadge(),
          .showsCompletionCheckmark = model.showsCompletionCheckmark,
          .isSyncing = model.isSyncing,
          .isEjecting = model.isEjecting,
          .isUpdatingAlbum = model.isUpdatingAlbum,
          .isRequestingCameraAccess = model.isRequestingCameraAccess,
          .canStartFirstSync = model.canStartFirstSync(),
          .syncPhase = model.syncPhase,
          .lastError = model.lastError,
          .lastErrorFile = model.lastErrorFile,
          .offersPhotoReview = model.offersPhotoReview,
          .connectedDevices = model.connectedDevices,
          .hasAvailableRemovableVolumes = !model.availableRemovableVolumes->empty(),
          .removableVolumeAccessIssue = model.removableVolumeAccessIssue,
          .photosPermissionStatus = model.photosPermissionStatus,
          .notificationPermissionStatus = model.notificationPermissionStatus,
          .loginStatus = model.loginStatus,
          .libraryReviews = shown(model.libraryReviews.value()),
          .libraryReviewCompletedAt = shown(model.libraryReviewCompletedAt.value(), surroundings),
          .deviceTrashSummaries = model.deviceTrashSummaries,
          .availableAlbumNames = model.availableAlbumNames,
          .collectedPhotosLabel = model.collectedPhotosLabel(),
          .availableUpdateVersion = model.availableUpdateVersion,
          .onboardingCompleted = settings.onboardingCompleted(),
          .hasAuthorizedProfiles = !settings.authorizedDeviceProfiles().empty(),
          .deleteAfterSync = settings.deleteAfterSync(),
          .autoEjectAfterSync = settings.autoEjectAfterSync(),
          .addToAlbum = settings.addToAlbum(),
          .albumName = settings.albumName(),
          .cameraGrants = settings.cameraGrants(),
          .savedCameraAccessError = settings.savedCameraAccessError(),
          .updateReminder = surroundings.updateReminder,
          .version = surroundings.version,
          .names = surroundings.names,
          .supportAddress = surroundings.supportAddress};
}

}  // namespace tolvander::app
