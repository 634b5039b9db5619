#include "TolvanderApp/Model/PermissionsFlow.h"

#include <optional>

#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"

namespace tolvander::app {

Task<> PermissionsFlow::refreshPermissionStatuses() {
  refreshLoginStatus();
  const PhotosPermissionStatus previous = model_.photosPermissionStatus;
  applyPhotosPermissionStatus(
      app::photosPermissionStatus(context_.platform.photoLibrary.authorizationStatus()));
  auto notificationStatus = PermissionService::notificationStatus(context_.platform.notifications);
  setNotificationPermissionStatus(co_await notificationStatus);
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    auto devices = model_.refreshConnectedDevices();
    co_await devices;
    context_.requireSetupAfterAccessLoss();
    fields_.statusMessage = "Photos access needed";
    co_return;
  }
  clearPhotosPermissionError();
  if (previous != PhotosPermissionStatus::authorized) {
    auto albumNames = model_.refreshAlbumNames();
    co_await albumNames;
  }
}

void PermissionsFlow::lookAgain() { context_.tasks.start(refreshPermissionStatuses()); }

void PermissionsFlow::refreshLoginStatus() { fields_.loginStatus = context_.platform.loginItem.status(); }

void PermissionsFlow::applyPhotosPermissionStatus(PhotosPermissionStatus status) {
  if (status != model_.photosPermissionStatus) {
    context_.record(DiagnosticLog::Event::permissionsChanged,
                    {{"photos_allowed", status == PhotosPermissionStatus::authorized},
                     {"photos_declined", status == PhotosPermissionStatus::denied}});
  }
  fields_.photosPermissionStatus = status;
  if (status != PhotosPermissionStatus::authorized) {
    context_.requireSetupAfterAccessLoss();
  }
}

void PermissionsFlow::requireSetupAfterAccessLoss() {
  if (!model_.settings().onboardingCompleted()) {
    return;
  }
  context_.storeSettings([&] {
    model_.settings().setOnboardingCompleted(false);
    model_.settings().setOnboardingNeedsAttention(true);
  });
  context_.record(DiagnosticLog::Event::setupSuspended);
  context_.gate.stopForGood();
  receipts_.discard();
  fields_.cameraCheckReceipts = {};
  fields_.libraryReviews = {};
  fields_.libraryReviewCompletedAt = std::nullopt;
}

ValueTaskHandle<PhotosPermissionStatus> PermissionsFlow::requestPhotosAccess() {
  return context_.tasks.start(askForPhotosAccess());
}

Task<PhotosPermissionStatus> PermissionsFlow::askForPhotosAccess() {
  auto asking = callback<PhotosPermissionStatus>([this](const Callback<PhotosPermissionStatus>& answered) {
    const auto request = PermissionService::standardPhotosAccessRequest(
        context_.platform.photoLibrary, *context_.services.diagnosticLog, context_.platform.mainThread, {});
    PermissionService::requestPhotosAccess(request, context_.platform.mainThread, answered);
  });
  const PhotosPermissionStatus status = co_await asking;
  auto following = requestPhotosPermission(status);
  co_await following;
  co_return status;
}

Task<> PermissionsFlow::requestPhotosPermission(PhotosPermissionStatus status) {
  applyPhotosPermissionStatus(status);
  if (status != PhotosPermissionStatus::authorized) {
    context_.requireSetupAfterAccessLoss();
    if (const auto failure = context_.platform.photoLibrary.requestFailure()) {
      context_.show(failure);
    }
    fields_.statusMessage = "Photos access needed";
    co_return;
  }
  clearPhotosPermissionError();
  auto albumNames = model_.refreshAlbumNames();
  co_await albumNames;
  if (model_.settings().onboardingCompleted()) {
    auto sync = model_.syncAllConnected(false);
    co_await sync;
  }
}

// Any other failure has nothing to do with the permission, and stays.
void PermissionsFlow::clearPhotosPermissionError() {
  if (model_.lastError.value() == PhotoLibraryError(PhotoLibraryError::Case::accessDenied).description()) {
    fields_.lastError = std::nullopt;
    fields_.statusMessage = model_.restingStatus("Waiting for connection");
  }
}

void PermissionsFlow::requestNotificationPermission() {
  context_.tasks.start(askForNotificationPermission());
}

Task<> PermissionsFlow::askForNotificationPermission() {
  auto request = context_.platform.notifications.requestAuthorization();
  try {
    co_await request;
  } catch (const Error&) {
    // The status tells what came of it.
  }
  auto reading = PermissionService::notificationStatus(context_.platform.notifications);
  setNotificationPermissionStatus(co_await reading);
}

void PermissionsFlow::setNotificationPermissionStatus(NotificationPermissionStatus status) {
  if (status != model_.notificationPermissionStatus) {
    context_.record(DiagnosticLog::Event::permissionsChanged,
                    {{"notifications_allowed", status == NotificationPermissionStatus::authorized},
                     {"notifications_declined", status == NotificationPermissionStatus::denied}});
  }
  fields_.notificationPermissionStatus = status;
}

}  // namespace tolvander::app
