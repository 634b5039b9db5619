#include "TolvanderApp/Model/MachineEvents.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Permissions/LaunchAtLoginService.h"

namespace tolvander::app {

namespace {

using std::chrono::seconds;

// A volume that was just mounted is left alone for so long, until the system has settled it.
constexpr seconds settlingTime(2);
// Staged files of an earlier process are swept when they are this old: no import takes so long.
constexpr seconds abandonedStagingAge(86400);

template <typename Summary>
bool containsVolume(const std::vector<Summary>& summaries, const FileURL& standardizedURL) {
  return std::ranges::any_of(
      summaries, [&](const Summary& summary) { return summary.volumeURL.standardized() == standardizedURL; });
}

}  // namespace

void MachineEvents::observe() {
  try {
    observers_.push_back(context_.platform.volumes.observeMounts(
        [this](const FileURL& url) { context_.tasks.start(settleAndHandleMountedVolume(url)); },
        [this](const FileURL& url) { context_.tasks.start(handleUnmountedVolume(url)); }));
  } catch (const Error&) {
    context_.show(std::current_exception());  // the user can still ask for a check
  }
  observers_.push_back(context_.platform.application.observePrepareUninstall([this] { prepareUninstall(); }));
  observers_.push_back(context_.platform.application.observeDidBecomeActive([this] { model_.lookAgain(); }));
}

Task<> MachineEvents::startUp(AppModel::FirstSync firstSync) {
  isFirstFlowAhead_ = firstSync != AppModel::FirstSync::never;
  auto historyCount = model_.refreshPhotoHistoryCount();
  co_await historyCount;
  auto sweep = sweepAbandonedStaging();
  co_await sweep;
  access_.refreshSecurityScopedAccess();
  auto permissions = model_.refreshPermissionStatuses();
  co_await permissions;
  model_.refreshMountedVolumes();
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  auto settling = cleanup_.settleTrash();
  co_await settling;
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
  auto albumNames = model_.refreshAlbumNames();
  co_await albumNames;
  if (firstSync == AppModel::FirstSync::whenSetupIsComplete && model_.settings().onboardingCompleted()) {
    auto sync = model_.syncAllConnected(false);
    co_await sync;
  }
  if (firstSync == AppModel::FirstSync::whenSetupIsComplete) {
    isFirstFlowAhead_ = false;
  }
}

// What is left over is swept another time; nothing depends on it.
Task<> MachineEvents::sweepAbandonedStaging() {
  auto sweep =
      background([staging = context_.services.mediaStaging, now = context_.platform.mainThread.wallNow()] {
        staging->cleanupAbandoned(abandonedStagingAge, now);
      });
  try {
    co_await sweep;
  } catch (const Error&) {
  }
}

void MachineEvents::prepareUninstall() {
  try {
    LaunchAtLoginService::setEnabled(context_.platform.loginItem, false);
  } catch (const Error&) {
    // The program goes all the same.
  }
  context_.platform.application.terminate();
}

void MachineEvents::suspendSetupForADeniedVolume() {
  isSetupSuspensionDue_ = true;
  suspendSetupWhereAVolumeIsDenied();
}

void MachineEvents::workDidEnd() {
  isFirstFlowAhead_ = false;
  suspendSetupWhereAVolumeIsDenied();
}

void MachineEvents::suspendSetupWhereAVolumeIsDenied() {
  if (!isSetupSuspensionDue_ || model_.isSyncing || isFirstFlowAhead_ || eventsBeingHandled_ > 0) {
    return;
  }
  isSetupSuspensionDue_ = false;
  if (model_.removableVolumeAccessIssue->has_value()) {
    context_.requireSetupAfterAccessLoss();
    fields_.statusMessage = "Camera access needed";
  }
}

Task<> MachineEvents::settleAndHandleMountedVolume(FileURL url) {
  auto settling = sleepOrCancellation(settlingTime);
  co_await settling;
  auto handling = handleMountedVolume(std::move(url));
  co_await handling;
}

Task<> MachineEvents::handleMountedVolume(FileURL url) {
  ++eventsBeingHandled_;
  auto handling = useMountedVolume(std::move(url));
  co_await handling;
  --eventsBeingHandled_;
  suspendSetupWhereAVolumeIsDenied();
}

Task<> MachineEvents::useMountedVolume(FileURL url) {
  const FileURL standardizedURL = url.standardized();
  if (!CameraVolumeDiscovery::contains(access_.mountedVolumes(), url)) {
    co_return;
  }
  fields_.cameraCheckReceipts.update([&](auto& receipts) { receipts.erase(standardizedURL); });
  eject_.forgetUnmount(standardizedURL);
  access_.refreshSecurityScopedAccess();
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  if (model_.settings().authorizedDeviceProfiles().empty()) {
    fields_.statusMessage = "Connect your Charmera";
    co_return;
  }
  if (!model_.settings().onboardingCompleted()) {
    fields_.statusMessage = model_.connectedDevices->empty() ? "Choose your Charmera drive" : "Ready to sync";
    co_return;
  }
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    context_.requireSetupAfterAccessLoss();
    fields_.statusMessage = "Photos access needed";
    co_return;
  }
  if (!containsVolume(model_.connectedDevices.value(), standardizedURL)) {
    co_return;
  }
  auto settling = cleanup_.settleTrash();
  co_await settling;
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
  auto sync = model_.syncAllConnected(false);
  co_await sync;
}

Task<> MachineEvents::handleUnmountedVolume(FileURL url) {
  const FileURL standardizedURL = url.standardized();
  fields_.cameraCheckReceipts.update([&](auto& receipts) { receipts.erase(standardizedURL); });
  if (!containsVolume(model_.connectedDevices.value(), standardizedURL) &&
      !containsVolume(model_.availableRemovableVolumes.value(), standardizedURL)) {
    co_return;
  }
  fields_.libraryReviews = {};
  fields_.libraryReviewCompletedAt = std::nullopt;
  const bool isOurs = eject_.isOwnUnmount(standardizedURL);
  if (!isOurs && !model_.statusReceipt->has_value()) {
    fields_.showsCompletionCheckmark = false;
  }
  if (model_.removableVolumeAccessIssue->has_value() &&
      model_.removableVolumeAccessIssue.value()->volumeName == url.lastPathComponent()) {
    fields_.removableVolumeAccessIssue = std::nullopt;
  }
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  if (!isOurs && !model_.isSyncing && !model_.lastError->has_value() && !model_.statusReceipt->has_value()) {
    fields_.statusMessage = model_.idleStatus();
  }
}

}  // namespace tolvander::app
