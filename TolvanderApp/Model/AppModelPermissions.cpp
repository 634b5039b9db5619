#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"

namespace tolvander::app {

ValueTaskHandle<PhotosPermissionStatus> AppModel::requestPhotosAccess() {
  return tasks_.start(askForPhotosAccess());
}

Task<PhotosPermissionStatus> AppModel::askForPhotosAccess() {
  auto asking = callback<PhotosPermissionStatus>([this](const Callback<PhotosPermissionStatus>& answered) {
    const auto request = PermissionService::standardPhotosAccessRequest(
        platform_.photoLibrary, *services_.diagnosticLog, platform_.mainThread, {});
    PermissionService::requestPhotosAccess(request, platform_.mainThread, answered);
  });
  const PhotosPermissionStatus status = co_await asking;
  auto following = requestPhotosPermission(status);
  co_await following;
  co_return status;
}

Task<> AppModel::requestPhotosPermission(PhotosPermissionStatus status) {
  applyPhotosPermissionStatus(status);
  if (status != PhotosPermissionStatus::authorized) {
    requireSetupAfterAccessLoss();
    if (const auto failure = platform_.photoLibrary.requestFailure()) {
      show(failure);
    }
    statusMessage = "Photos access needed";
    co_return;
  }
  clearPhotosPermissionError();
  auto albumNames = refreshAlbumNames();
  co_await albumNames;
  if (settings().onboardingCompleted()) {
    auto sync = syncAllConnected(false);
    co_await sync;
  }
}

// Any other failure has nothing to do with the permission, and stays.
void AppModel::clearPhotosPermissionError() {
  if (lastError.value() == PhotoLibraryError(PhotoLibraryError::Case::accessDenied).description()) {
    lastError = std::nullopt;
    statusMessage = restingStatus("Waiting for connection");
  }
}

void AppModel::requestNotificationPermission() { tasks_.start(askForNotificationPermission()); }

Task<> AppModel::askForNotificationPermission() {
  auto request = platform_.notifications.requestAuthorization();
  try {
    co_await request;
  } catch (const Error&) {
    // The status tells what came of it.
  }
  auto reading = PermissionService::notificationStatus(platform_.notifications);
  setNotificationPermissionStatus(co_await reading);
}

void AppModel::setNotificationPermissionStatus(NotificationPermissionStatus status) {
  if (status != notificationPermissionStatus) {
    record(DiagnosticLog::Event::permissionsChanged,
           {{"notifications_allowed", status == NotificationPermissionStatus::authorized},
            {"notifications_declined", status == NotificationPermissionStatus::denied}});
  }
  notificationPermissionStatus = status;
}

}  // namespace tolvander::app
