#include "TolvanderApp/Model/ModelParts.h"

namespace tolvander::app {

std::unique_ptr<AppModel::Parts> AppModel::makeParts() {
  return std::make_unique<Parts>(*this,
                                 ModelFields{.statusMessage = statusMessage,
                                             .connectedDevices = connectedDevices,
                                             .availableRemovableVolumes = availableRemovableVolumes,
                                             .deviceTrashSummaries = deviceTrashSummaries,
                                             .availableAlbumNames = availableAlbumNames,
                                             .photosPermissionStatus = photosPermissionStatus,
                                             .notificationPermissionStatus = notificationPermissionStatus,
                                             .removableVolumeAccessIssue = removableVolumeAccessIssue,
                                             .lastError = lastError,
                                             .lastErrorFile = lastErrorFile,
                                             .offersPhotoReview = offersPhotoReview,
                                             .isEjecting = isEjecting,
                                             .showsCompletionCheckmark = showsCompletionCheckmark,
                                             .isRequestingCameraAccess = isRequestingCameraAccess,
                                             .isUpdatingAlbum = isUpdatingAlbum,
                                             .isRefreshingDevices = isRefreshingDevices,
                                             .statusReceipt = statusReceipt,
                                             .collectedPhotoCount = collectedPhotoCount,
                                             .collectedVideoCount = collectedVideoCount,
                                             .cameraCheckReceipts = cameraCheckReceipts,
                                             .libraryReviews = libraryReviews,
                                             .libraryReviewCompletedAt = libraryReviewCompletedAt,
                                             .syncPhase = syncPhase,
                                             .cameraRuns = cameraRuns,
                                             .cameraWentAway = cameraWentAway,
                                             .loginStatus = loginStatus});
}

}  // namespace tolvander::app
