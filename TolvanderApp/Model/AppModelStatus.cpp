#include <algorithm>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/MediaCounts.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::string_view attentionSymbol = "exclamationmark.circle.fill";
constexpr std::string_view doneSymbol = "checkmark.circle";

constexpr std::string_view readyToImport = "Ready to import";
constexpr std::string_view cameraUpToDate = "Camera up to date";

// `total` items of which `videos` are said to be videos; never more videos than items.
MediaCounts counts(std::int64_t total, std::int64_t videos) {
  return MediaCounts::ofTotal(total, std::clamp<std::int64_t>(videos, 0, std::max<std::int64_t>(total, 0)));
}

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

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const auto& part : parts) {
    text += (text.empty() ? "" : std::string(separator)) + part;
  }
  return text;
}

}  // namespace

// MARK: The status line at rest

std::string AppModel::idleStatus() const {
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return "Photos access needed";
  }
  if (removableVolumeAccessIssue->has_value()) {
    return "Camera access needed";
  }
  if (settings().authorizedDeviceProfiles().empty()) {
    return statusWithoutProfiles();
  }
  if (lastError->has_value()) {
    return offersPhotoReview ? "Camera check incomplete" : "Sync needs attention";
  }
  if (photoReviewIsIncomplete()) {
    return "Camera check incomplete";
  }
  if (connectedDevices->empty()) {
    return "Waiting for connection";
  }
  return std::string(connectedCameraReceipt() ? cameraUpToDate : readyToImport);
}

std::string AppModel::statusWithoutProfiles() const {
  return availableRemovableVolumes->empty() ? "Waiting for connection" : "Connect your Charmera";
}

std::string AppModel::restingStatus(const std::string& fallback) const {
  return statusReceipt->has_value() ? statusReceipt.value()->message : fallback;
}

// Only the first camera speaks: one line can't tell of two.
std::optional<LastSyncReceipt> AppModel::connectedCameraReceipt() const {
  if (connectedDevices->empty()) {
    return std::nullopt;
  }
  const auto found = cameraCheckReceipts->find(connectedDevices->front().volumeURL.standardized());
  return found == cameraCheckReceipts->end() ? std::nullopt : std::optional(found->second);
}

bool AppModel::photoReviewIsIncomplete() const {
  return std::ranges::any_of(libraryReviews.value(), [](const DeviceLibraryReview& entry) {
    return !entry.review.unchecked.empty() || !entry.review.uncertain.empty();
  });
}

std::string AppModel::syncStatus(const LastSyncReceipt& receipt, bool ejected) {
  if (receipt.count == 0) {
    return ejected ? "Checked & ejected" : std::string(cameraUpToDate);
  }
  return counts(receipt.count, receipt.videoCount.value_or(0)).description() +
         (ejected ? " synced & ejected" : " synced");
}

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
  if (lastError->has_value() || !statusReceipt->has_value() || (!clearAfter && connectedDevices->empty())) {
    showsCompletionCheckmark = false;
    return;
  }
  showsCompletionCheckmark = true;
  if (clearAfter) {
    StatusReceipt receipt = *statusReceipt.value();
    receipt.minimumDisplayDuration = std::max(receipt.minimumDisplayDuration, *clearAfter);
    statusReceipt = std::move(receipt);
  }
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

// Where the flow was stopped by a loss of access, the user reads that.
void AppModel::showStopped(const std::string& stopped) {
  const bool hasAccess = photosPermissionStatus == PhotosPermissionStatus::authorized &&
                         !removableVolumeAccessIssue->has_value();
  statusMessage = hasAccess ? stopped : idleStatus();
  noteStop();
}

// Apart from a request, only a camera that is gone stops a flow.
void AppModel::noteStop() { cameraWentAway = cameraWentAway || !syncCancellationRequested_; }

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
  statusMessage = offersPhotoReview ? "Camera check incomplete" : "Sync needs attention";
}

// A volume that has left meanwhile explains the refusal, and needs no words.
void AppModel::showDeniedVolume(const std::string& volumeName) {
  if (isVolumeMounted(volumeName)) {
    removableVolumeAccessIssue = RemovableVolumeAccessIssue{.volumeName = volumeName};
    isSetupSuspensionDue_ = true;
    statusMessage = "Camera access needed";
    suspendSetupWhereAVolumeIsDenied();
  }
}

bool AppModel::isVolumeMounted(const std::string& name) {
  const auto volumes = mountedVolumes();
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

// MARK: Badge and details

bool AppModel::showsAttentionBadge() const {
  if (!settings().onboardingCompleted()) {
    return settings().onboardingNeedsAttention();
  }
  return photosPermissionStatus != PhotosPermissionStatus::authorized ||
         settings().authorizedDeviceProfiles().empty() || lastError->has_value() ||
         photoReviewIsIncomplete() || removableVolumeAccessIssue->has_value();
}

std::optional<std::string> AppModel::collectedPhotosLabel() const {
  if (!collectedPhotoCount->has_value() || !collectedVideoCount->has_value()) {
    return std::nullopt;
  }
  const std::int64_t total = *collectedPhotoCount.value() + *collectedVideoCount.value();
  if (total < 1) {
    return std::nullopt;
  }
  return counts(total, *collectedVideoCount.value()).description() + " collected";
}

bool AppModel::showsReceiptMessage() const {
  return !isSyncing && !isEjecting && !lastError->has_value() && statusReceipt->has_value() &&
         statusReceipt.value()->message == statusMessage.value();
}

std::optional<std::string> AppModel::settingsStatusDetail() const {
  if (statusMessage.value() == readyToImport) {
    return "Check for new items, or reconnect your camera.";
  }
  std::vector<std::string> parts;
  if (const auto receipt = connectedCameraReceipt(); receipt && statusMessage.value() == cameraUpToDate) {
    parts.push_back(receipt->deviceName);
  }
  if (showsReceiptMessage() && statusReceipt.value()->metadataSkippedCount >= 1) {
    const std::int64_t count = statusReceipt.value()->metadataSkippedCount;
    parts.push_back(std::to_string(count) +
                    (count == 1 ? " likely duplicate skipped" : " likely duplicates skipped"));
  }
  return parts.empty() ? std::nullopt : std::optional(joined(parts, " · "));
}

std::optional<std::string> AppModel::settingsStatusDetailHelp() const {
  return showsReceiptMessage() ? statusReceipt.value()->duplicateHelp() : std::nullopt;
}

std::optional<Date> AppModel::settingsStatusDate() const {
  if (lastError->has_value() || isSyncing || isEjecting) {
    return std::nullopt;
  }
  if (statusMessage.value() == cameraUpToDate) {
    const auto receipt = connectedCameraReceipt();
    return receipt ? std::optional(receipt->completedAt) : std::nullopt;
  }
  return showsReceiptMessage() ? std::optional(statusReceipt.value()->completedAt) : std::nullopt;
}

std::optional<std::string> AppModel::settingsStatusSymbol() const {
  if (lastError->has_value()) {
    return std::string(attentionSymbol);
  }
  if (isSyncing || isEjecting) {
    return std::nullopt;
  }
  if (photoReviewIsIncomplete()) {
    return std::string(attentionSymbol);
  }
  if (settingsStatusDate() || libraryReviewCompletedAt->has_value()) {
    return std::string(doneSymbol);
  }
  return std::nullopt;
}

}  // namespace tolvander::app
