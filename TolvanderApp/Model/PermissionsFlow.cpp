#include "TolvanderApp/Model/PermissionsFlow.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Presentation/LibraryQuestion.h"

namespace tolvander::app {

namespace {

// Whether the history says that files were imported, or that an import was begun.
bool hasImported(SyncHistoryStore& history) {
  const ImportRecords records = history.records();
  return !history.pendingImportSources().empty() ||
         std::ranges::any_of(
             records, [](const ImportRecord& record) { return record.photosAssetIdentifier.has_value(); });
}

}  // namespace

Task<> PermissionsFlow::refreshPermissionStatuses() {
  model_.refreshLoginStatus();
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

void PermissionsFlow::applyPhotosPermissionStatus(PhotosPermissionStatus status) {
  if (status != model_.photosPermissionStatus) {
    context_.record(DiagnosticLog::Event::permissionsChanged,
                    {{"photos_allowed", status == PhotosPermissionStatus::authorized},
                     {"photos_declined", status == PhotosPermissionStatus::denied}});
  }
  fields_.photosPermissionStatus = status;
  if (status == PhotosPermissionStatus::authorized) {
    hadLibrary_ = true;
  } else {
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
  if (!photosRequest_ || photosRequest_->isFinished()) {
    photosRequest_ = context_.tasks.start(askForPhotosAccess(requests_.begin()));
  }
  return *photosRequest_;
}

// Whether the library may be asked for access: where it would make a new library, the user has to agree.
Task<bool> PermissionsFlow::mayMakeLibrary() {
  auto looking =
      background([&library = context_.platform.photoLibrary] { return library.folderOfNewLibrary(); });
  const auto folder = co_await looking;
  if (!folder) {
    co_return true;
  }
  auto knowing = isLibraryMissing();
  const bool isMissing = co_await knowing;
  auto question = context_.platform.dialogs.ask(isMissing ? replacedLibraryQuestion(*folder)
                                                          : newLibraryQuestion(*folder));
  const auto answer = co_await question;
  co_return answer == 0;
}

// Whether the settings or the history say that there was a library already, on a disk that isn't mounted say.
// Throws SyncHistoryError.
Task<bool> PermissionsFlow::isLibraryMissing() {
  if (hadLibrary_ || model_.settings().lastSyncReceipt()) {
    co_return true;
  }
  auto reading = background([history = context_.services.history] { return hasImported(*history); });
  co_return co_await reading;
}

Task<PhotosPermissionStatus> PermissionsFlow::askForPhotosAccess(UUID requestID) {
  clearRequestFailure();
  bool isWanted = false;
  try {
    auto deciding = mayMakeLibrary();
    isWanted = co_await deciding;
  } catch (const std::exception&) {
    showRequestFailure(std::current_exception());
  }
  if (!isWanted) {
    requests_.complete(requestID);
    co_return model_.photosPermissionStatus;
  }
  auto asking = callback<PhotosPermissionStatus>([this](const Callback<PhotosPermissionStatus>& answered) {
    const auto request = PermissionService::standardPhotosAccessRequest(
        context_.platform.photoLibrary, *context_.services.diagnosticLog, context_.platform.mainThread,
        requests_.presentationState());
    PermissionService::requestPhotosAccess(request, context_.platform.mainThread, answered);
  });
  const PhotosPermissionStatus status = co_await asking;
  auto following = requestPhotosPermission(status, requestID);
  co_await following;
  co_return status;
}

Task<> PermissionsFlow::requestPhotosPermission(PhotosPermissionStatus status, UUID requestID) {
  applyPhotosPermissionStatus(status);
  requests_.complete(requestID);
  if (status != PhotosPermissionStatus::authorized) {
    context_.requireSetupAfterAccessLoss();
    if (const auto failure = context_.platform.photoLibrary.requestFailure()) {
      showRequestFailure(failure);
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

void PermissionsFlow::showRequestFailure(const std::exception_ptr& failure) {
  context_.show(failure);
  requestFailure_ = model_.lastError.value();
}

// The next request replaces the failure of the last one, while that is on the screen.
void PermissionsFlow::clearRequestFailure() {
  const auto failure = std::exchange(requestFailure_, std::nullopt);
  if (failure && model_.lastError.value() == failure) {
    fields_.lastError = std::nullopt;
  }
}

// Any other failure has nothing to do with the permission, and stays.
void PermissionsFlow::clearPhotosPermissionError() {
  if (model_.lastError.value() == PhotoLibraryError(PhotoLibraryError::Case::accessDenied).description()) {
    fields_.lastError = std::nullopt;
    fields_.statusMessage = model_.restingStatus("Waiting for connection");
  }
}

void PermissionsFlow::requestNotificationPermission(UUID requestID) {
  context_.tasks.start(askForNotificationPermission(requestID));
}

Task<> PermissionsFlow::askForNotificationPermission(UUID requestID) {
  auto request = context_.platform.notifications.requestAuthorization();
  try {
    co_await request;
  } catch (const Error&) {
    // The status tells what came of it.
  }
  auto reading = PermissionService::notificationStatus(context_.platform.notifications);
  setNotificationPermissionStatus(co_await reading);
  requests_.complete(requestID);
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
