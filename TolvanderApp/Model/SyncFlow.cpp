#include "TolvanderApp/Model/SyncFlow.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Model/StatusPresentation.h"
#include "TolvanderApp/Permissions/PermissionService.h"

namespace tolvander::app {

namespace {

bool isCharmera(const DetectedDevice& device) { return device.profile.kind == DeviceProfile::Kind::charmera; }

}  // namespace

// MARK: The one way in

Task<SyncSummary> SyncFlow::syncAllConnected(bool notifyWhenStarting) {
  if (!model_.settings().onboardingCompleted() || context_.gate.foldSync()) {
    co_return SyncSummary();
  }
  const auto running =
      context_.gate.start(performSyncAllConnected(notifyWhenStarting), FlowGate::Opening::byTheFlow);
  auto summary = running.value();
  co_return co_await summary;
}

Started<SyncSummary> SyncFlow::checkNow() {
  if (!model_.settings().onboardingCompleted() || model_.isSyncing || fields_.isEjecting) {
    return std::nullopt;
  }
  fields_.statusMessage = "Checking for your Charmera…";
  return context_.tasks.start(lookForVolumesAndSync());
}

Task<SyncSummary> SyncFlow::lookForVolumesAndSync() {
  model_.refreshMountedVolumes();
  auto sync = syncAllConnected(false);
  co_return co_await sync;
}

Started<SyncSummary> SyncFlow::completeOnboardingAndSync() {
  context_.applyPhotosPermissionStatus(
      app::photosPermissionStatus(context_.platform.photoLibrary.authorizationStatus()));
  if (!model_.canStartFirstSync()) {
    return std::nullopt;
  }
  context_.storeSettings([&] { model_.settings().setOnboardingCompleted(true); });
  if (!model_.settings().onboardingCompleted()) {
    return std::nullopt;
  }
  context_.record(DiagnosticLog::Event::setupCompleted);
  fields_.statusMessage = "Starting sync…";
  return context_.tasks.start(syncAllConnected(true));
}

Started<FlowOutcome> SyncFlow::completeInterruptedImports() {
  if (context_.gate.isBusy() || fields_.isEjecting ||
      model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return std::nullopt;
  }
  return context_.gate.start(completeWithoutCamera(), FlowGate::Opening::byTheFlow);
}

Task<FlowOutcome> SyncFlow::completeWithoutCamera() {
  auto completing = runs_.finishPreparedImports();
  co_await completing;
  co_return FlowOutcome();
}

void SyncFlow::stopCheck() {
  context_.record(DiagnosticLog::Event::syncCancelled);
  context_.gate.stop();
  fields_.statusMessage =
      context_.gate.isCleaningUp() ? "Stopping cleanup…" : "Finishing the current import before stopping…";
}

// MARK: One run over all cameras

Task<SyncSummary> SyncFlow::performSyncAllConnected(bool notifyWhenStarting) {
  SyncSummary summary;
  if (!model_.settings().onboardingCompleted() || fields_.isEjecting) {
    co_return summary;
  }
  fields_.libraryReviews = {};
  fields_.libraryReviewCompletedAt = std::nullopt;
  const bool hasLibrary = model_.photosPermissionStatus == PhotosPermissionStatus::authorized;
  if (model_.settings().authorizedDeviceProfiles().empty()) {
    fields_.statusMessage = statusWithoutProfiles(!model_.availableRemovableVolumes->empty());
    if (hasLibrary) {
      auto completing = runs_.finishPreparedImports();
      co_await completing;
    }
    co_return summary;
  }
  if (!hasLibrary) {
    context_.requireSetupAfterAccessLoss();
    fields_.statusMessage = "Photos access needed";
    co_return summary;
  }
  context_.gate.open();
  fields_.statusMessage = "Scanning camera…";
  auto syncing = context_.gate.attempt(syncMountedVolumes(notifyWhenStarting), "Check stopped");
  summary.outcome = co_await syncing;
  if (summary.outcome.end == FlowEnd::done && fields_.cameraWentAway) {
    summary.outcome.end = FlowEnd::cameraWentAway;
  }
  summary.cameras = fields_.cameraRuns;
  co_return summary;
}

Task<> SyncFlow::syncMountedVolumes(bool notifyWhenStarting) {
  access_.refreshSecurityScopedAccess();
  bool foundDevice = false;
  for (const auto& url : CameraVolumeDiscovery::mountedURLs(context_.platform.volumes)) {
    if (context_.gate.isStopRequested()) {
      break;
    }
    auto detecting = context_.gate.attempt(
        access_.detectConnectedCamera(url, model_.settings().authorizedDeviceProfiles()), "Check stopped");
    Attempt<std::optional<FoundCamera>> detected = co_await detecting;
    foundDevice = foundDevice || !detected.value || *detected.value;
    if (detected.value && *detected.value) {
      auto syncing = synchronize(*std::move(*detected.value), notifyWhenStarting);
      co_await syncing;
    }
  }
  if (fields_.cameraRuns->empty() && !context_.gate.isStopRequested()) {
    auto completing = runs_.finishPreparedImports();
    co_await completing;
  }
  if (context_.gate.isStopRequested()) {
    context_.showStopped("Check stopped");
    co_return;
  }
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
  if (!foundDevice && !model_.lastError->has_value() && !model_.statusReceipt->has_value()) {
    fields_.statusMessage = model_.idleStatus();
  }
}

// MARK: One camera

Task<> SyncFlow::synchronize(FoundCamera camera, bool notifyWhenStarting) {
  if (context_.gate.isStopRequested()) {
    co_return;
  }
  DetectedDevice& device = camera.device;
  context_.record(DiagnosticLog::Event::syncStarted,
                  {{"camera_files", static_cast<std::int64_t>(device.files.size())}});
  fields_.cameraCheckReceipts.update(
      [&](auto& receipts) { receipts.erase(device.volumeURL.standardized()); });
  fields_.showsCompletionCheckmark = false;
  fields_.statusMessage = isCharmera(device) ? "Scanning Charmera…" : "Scanning " + device.displayName + "…";
  if (notifyWhenStarting) {
    auto notifying = context_.notifications.sendSyncStarted(isCharmera(device));
    co_await notifying;
  }
  auto current = currentToken();
  const CancellationToken token = co_await current;
  runs_.begin(device, camera.setAside);
  auto running = background([coordinator = runs_.coordinator(device, token), device,
                             album = model_.settings().albumForSync()](const CancellationToken& runToken) {
    return coordinator.run(device.files, isCharmera(device), album, runToken);
  });
  auto attempt = context_.gate.attempt(std::move(running), "Check stopped");
  Attempt<SyncResult> ended = co_await attempt;
  runs_.end(ended.outcome.end);
  if (ended.value) {
    auto presenting = presentSyncResult(std::move(device), *std::move(ended.value));
    co_await presenting;
  }
  auto historyCount = model_.refreshPhotoHistoryCount();
  co_await historyCount;
}

Task<> SyncFlow::presentSyncResult(DetectedDevice device, SyncResult result) {
  context_.record(DiagnosticLog::Event::syncFinished,
                  {{"scanned", result.scannedCount},
                   {"recognized", result.recognizedCount},
                   {"metadata_skipped", result.metadataMatchedCount},
                   {"imported", static_cast<std::int64_t>(result.imported.size())}});
  if (context_.gate.isStopRequested() || model_.lastError->has_value()) {
    co_return;
  }
  const LastSyncReceipt receipt = runs_.saveReceipt(device, result.imported);
  fields_.cameraCheckReceipts.update(
      [&](auto& receipts) { receipts.insert_or_assign(device.volumeURL.standardized(), receipt); });
  fields_.statusMessage = AppModel::syncStatus(receipt, false);

  CleanupOutcome cleanup{.safeToEject = true, .didNotify = false};
  if (!result.imported.empty() && model_.settings().deleteAfterSync()) {
    auto offering = cleanup_.offerToTrash(result.imported, device);
    cleanup = co_await offering;
  }
  auto current = currentToken();
  const CancellationToken token = co_await current;
  if (context_.gate.isStopRequested() || token.isCancelled()) {
    context_.showStopped("Check stopped");
    co_return;
  }
  bool ejected = false;
  if (model_.settings().autoEjectAfterSync() && cleanup.safeToEject && !model_.lastError->has_value()) {
    auto ejecting = eject_.ejectVolume(device.volumeURL, device.displayName, isCharmera(device), false);
    ejected = co_await ejecting;
  }
  if (!model_.lastError->has_value()) {
    if (receipt.count == 0) {
      auto notifying = context_.notifications.sendNoNewFiles(isCharmera(device), ejected);
      co_await notifying;
    } else if (!cleanup.didNotify) {
      auto notifying = context_.notifications.sendSyncFinished(receipt.count, receipt.videoCount.value_or(0),
                                                               isCharmera(device), ejected);
      co_await notifying;
    }
  }
  if (!model_.lastError->has_value()) {
    StatusReceipt shown = syncReceipt(receipt, result, ejected);
    runs_.change([&shown](CameraRun& run) { run.likelyCopies = shown.metadataSkippedFiles; });
    context_.showReceipt(std::move(shown));
  }
  auto permissions = model_.refreshPermissionStatuses();
  co_await permissions;
  if (model_.settings().onboardingCompleted() && !model_.lastError->has_value()) {
    context_.showCompletionIndicator(ejected ? std::optional(StatusReceipt::afterEject) : std::nullopt);
  }
}

StatusReceipt SyncFlow::syncReceipt(const LastSyncReceipt& receipt, const SyncResult& result,
                                    bool ejected) const {
  std::vector<std::string> skippedNames;
  for (const auto& file : result.metadataMatchedFiles) {
    skippedNames.push_back(file.filename);
  }
  return {.message = AppModel::syncStatus(receipt, ejected),
          .completedAt = context_.platform.mainThread.wallNow(),
          .metadataSkippedCount = result.metadataMatchedCount,
          .metadataSkippedFiles = std::move(skippedNames),
          .minimumDisplayDuration = ejected ? StatusReceipt::afterEject : StatusReceipt::whileMounted,
          .id = UUID::random()};
}

}  // namespace tolvander::app
