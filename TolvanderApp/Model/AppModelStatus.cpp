#include <algorithm>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Model/ModelParts.h"
#include "TolvanderApp/Model/StatusPresentation.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app {

namespace {

using Seconds = std::chrono::duration<double>;

// Whether a check against the library can settle the failure.
bool canBeSettledByReview(const std::exception& error) {
  if (dynamic_cast<const RecognitionError*>(&error)) {
    return true;
  }
  if (const auto* library = dynamic_cast<const PhotoLibraryError*>(&error)) {
    return library->kind() == PhotoLibraryError::Case::inconsistentChangeResult;
  }
  const auto* history = dynamic_cast<const SyncHistoryError*>(&error);
  return history && history->kind() != SyncHistoryError::Case::unreadableHistory;
}

bool isAccessDenied(const std::exception& error) {
  const auto* library = dynamic_cast<const PhotoLibraryError*>(&error);
  return library && library->kind() == PhotoLibraryError::Case::accessDenied;
}

}  // namespace

// MARK: What is shown

StatusState AppModel::statusState() const {
  return {.onboardingCompleted = settings().onboardingCompleted(),
          .onboardingNeedsAttention = settings().onboardingNeedsAttention(),
          .photosPermissionStatus = photosPermissionStatus,
          .hasAuthorizedProfiles = !settings().authorizedDeviceProfiles().empty(),
          .hasRemovableVolumeAccessIssue = removableVolumeAccessIssue->has_value(),
          .hasAvailableRemovableVolumes = !availableRemovableVolumes->empty(),
          .connectedDevices = connectedDevices,
          .cameraCheckReceipts = cameraCheckReceipts,
          .photoReviewIsIncomplete = photoReviewIsIncomplete(),
          .hasCompletedLibraryReview = libraryReviewCompletedAt->has_value(),
          .isSyncing = isSyncing,
          .isEjecting = isEjecting,
          .hasError = lastError->has_value(),
          .offersPhotoReview = offersPhotoReview,
          .statusMessage = statusMessage,
          .statusReceipt = statusReceipt,
          .collectedPhotoCount = collectedPhotoCount,
          .collectedVideoCount = collectedVideoCount};
}

StatusPresentation AppModel::statusPresentation() const { return StatusPresentation::of(statusState()); }

std::string AppModel::idleStatus() const { return statusPresentation().idleStatus; }

std::string AppModel::statusWithoutProfiles() const {
  return app::statusWithoutProfiles(!availableRemovableVolumes->empty());
}

std::string AppModel::restingStatus(const std::string& fallback) const {
  return app::restingStatus(statusState(), fallback);
}

std::optional<LastSyncReceipt> AppModel::connectedCameraReceipt() const {
  return app::connectedCameraReceipt(statusState());
}

bool AppModel::photoReviewIsIncomplete() const { return isIncomplete(libraryReviews); }

std::string AppModel::syncStatus(const LastSyncReceipt& receipt, bool ejected) {
  return app::syncStatus(receipt, ejected);
}

bool AppModel::showsAttentionBadge() const { return statusPresentation().showsAttentionBadge; }

std::optional<std::string> AppModel::collectedPhotosLabel() const {
  return statusPresentation().collectedLabel;
}

bool AppModel::showsReceiptMessage() const { return statusPresentation().showsReceipt; }

std::optional<std::string> AppModel::settingsStatusDetail() const { return statusPresentation().detail; }

std::optional<std::string> AppModel::settingsStatusDetailHelp() const {
  return statusPresentation().detailHelp;
}

std::optional<Date> AppModel::settingsStatusDate() const { return statusPresentation().date; }

std::optional<std::string> AppModel::settingsStatusSymbol() const { return statusPresentation().symbol; }

// MARK: A result on show

void AppModel::showReceipt(StatusReceipt receipt) {
  statusMessage = receipt.message;
  statusReceipt = std::move(receipt);
  scheduleCompletionExpiry();
}

void AppModel::discardCompletionReceipt() {
  if (statusReceiptTask_) {
    statusReceiptTask_->cancel();
    statusReceiptTask_.reset();
  }
  statusReceipt = std::nullopt;
  showsCompletionCheckmark = false;
}

bool AppModel::holdsReceipt() const {
  return isSyncing || isEjecting || settingsWindowOpen_ || statusMenuOpen_;
}

void AppModel::updateCompletionPresentation(Date now) {
  if (!statusReceipt->has_value()) {
    return;
  }
  const StatusReceipt& receipt = *statusReceipt.value();
  if (holdsReceipt() || Seconds(now - receipt.completedAt) < receipt.minimumDisplayDuration) {
    scheduleCompletionExpiry();
    return;
  }
  const bool isStillShown = statusMessage.value() == receipt.message;
  discardCompletionReceipt();
  if (isStillShown) {
    statusMessage = idleStatus();
  }
}

void AppModel::scheduleCompletionExpiry() {
  if (statusReceiptTask_) {
    statusReceiptTask_->cancel();
    statusReceiptTask_.reset();
  }
  if (!statusReceipt->has_value() || holdsReceipt()) {
    return;
  }
  const StatusReceipt& receipt = *statusReceipt.value();
  const Seconds age = platform_.mainThread.wallNow() - receipt.completedAt;
  const Seconds delay = std::max(receipt.minimumDisplayDuration - age, Seconds(0));
  statusReceiptTask_ =
      tasks_.start(expireReceipt(std::chrono::ceil<std::chrono::nanoseconds>(delay), receipt.id));
}

Task<> AppModel::expireReceipt(std::chrono::nanoseconds delay, UUID receiptID) {
  auto waiting = sleepOrCancellation(delay);
  const bool isDue = co_await waiting;
  if (isDue && statusReceipt->has_value() && statusReceipt.value()->id == receiptID) {
    updateCompletionPresentation(platform_.mainThread.wallNow());
  }
}

void AppModel::showCompletionIndicator(std::optional<Seconds> clearAfter) {
  const CompletionPresentation completion = completionPresentation(statusState(), clearAfter);
  showsCompletionCheckmark = completion.showsCheckmark;
  if (!completion.showsCheckmark) {
    return;
  }
  statusReceipt.update([&](std::optional<StatusReceipt>& receipt) {
    receipt->minimumDisplayDuration = completion.minimumDisplayDuration;
  });
  scheduleCompletionExpiry();
}

void AppModel::setSettingsWindowOpen(bool isOpen) {
  settingsWindowOpen_ = isOpen;
  updateCompletionPresentation(platform_.mainThread.wallNow());
}

void AppModel::setStatusMenuOpen(bool isOpen) {
  statusMenuOpen_ = isOpen;
  updateCompletionPresentation(platform_.mainThread.wallNow());
}

// MARK: Failures

void AppModel::show(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const CancellationError&) {
  } catch (const std::exception& error) {
    show(error);
  }
}

// Where the flow was stopped by a loss of access, the user reads that. Without words the status line stays.
void AppModel::showStopped(const std::string& stopped) {
  const bool hasAccess = photosPermissionStatus == PhotosPermissionStatus::authorized &&
                         !removableVolumeAccessIssue->has_value();
  if (!stopped.empty()) {
    statusMessage = hasAccess ? stopped : idleStatus();
  }
  // Apart from a request, only a camera that is gone stops a flow.
  cameraWentAway = cameraWentAway || !gate_.isStopRequested();
}

void AppModel::showStoppedOrFailure(const std::exception_ptr& failure, const std::string& stopped) {
  try {
    std::rethrow_exception(failure);
  } catch (const CancellationError&) {
    showStopped(stopped);
  } catch (const std::exception& error) {
    show(error);
  }
}

void AppModel::show(const std::exception& error) {
  record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(error));
  applyPhotosPermissionStatus(app::photosPermissionStatus(platform_.photoLibrary.authorizationStatus()));
  if (const auto* source = dynamic_cast<const MediaSourceError*>(&error)) {
    showDeniedVolume(source->volumeName());
    return;
  }
  presentFailure(error);
  if (isAccessDenied(error)) {
    requireSetupAfterAccessLoss();
    tasks_.start(refreshPermissionStatuses());
  }
}

void AppModel::presentFailure(const std::exception& error) {
  lastError = failureText(error);
  offersPhotoReview = canBeSettledByReview(error);
  statusMessage = failureStatus(offersPhotoReview);
}

// A volume that has left meanwhile explains the refusal, and needs no words.
void AppModel::showDeniedVolume(const std::string& volumeName) {
  if (isVolumeMounted(volumeName)) {
    removableVolumeAccessIssue = RemovableVolumeAccessIssue{.volumeName = volumeName};
    statusMessage = "Camera access needed";
    parts_->events.suspendSetupForADeniedVolume();
  }
}

bool AppModel::isVolumeMounted(const std::string& name) {
  const auto volumes = parts_->access.mountedVolumes();
  return std::ranges::any_of(volumes, [&](const MountedVolume& volume) {
    return CameraVolumeDiscovery::displayName(volume) == name;
  });
}

void AppModel::showFailure(std::string message) {
  lastError = std::move(message);  // which also takes back the offer of a review, and the receipt
}

void AppModel::clearFailureAndReceipt() {
  lastError = std::nullopt;  // which also takes back the offer of a review
  if (statusReceipt->has_value()) {
    discardCompletionReceipt();
  }
}

}  // namespace tolvander::app
