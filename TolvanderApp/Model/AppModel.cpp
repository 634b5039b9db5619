#include "TolvanderApp/AppModel.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Model/ModelParts.h"
#include "TolvanderApp/Model/StatusPresentation.h"
#include "TolvanderApp/Permissions/PermissionService.h"

namespace tolvander::app {

namespace {

constexpr std::string_view uninstallArgument = "--prepare-uninstall";

std::vector<FileURL> volumeURLs(const std::vector<ConnectedDeviceSummary>& devices) {
  std::vector<FileURL> urls;
  for (const auto& device : devices) {
    urls.push_back(device.volumeURL);
  }
  return urls;
}

}  // namespace

std::shared_ptr<AppModel> AppModel::make(
    const Platform& platform, Services services,
    std::optional<PhotosPermissionStatus> initialPhotosPermissionStatus) {
  return std::shared_ptr<AppModel>(
      new AppModel(platform, std::move(services), initialPhotosPermissionStatus));
}

AppModel::AppModel(const Platform& platform, Services services,
                   std::optional<PhotosPermissionStatus> initialPhotosPermissionStatus)
    : changes(platform.mainThread),
      statusMessage(changes, "Waiting for connection"),
      isSyncing(changes, false, [this](bool before) { workDidChange(before, isSyncing); }),
      connectedDevices(changes, {}, [this](const auto& before) { connectedDevicesDidChange(before); }),
      availableRemovableVolumes(changes),
      deviceTrashSummaries(changes),
      availableAlbumNames(changes),
      photosPermissionStatus(changes, PhotosPermissionStatus::notDetermined),
      notificationPermissionStatus(changes, NotificationPermissionStatus::notDetermined),
      removableVolumeAccessIssue(changes),
      lastError(changes, {}, [this](const auto&) { parts_->failures.lastErrorDidChange(); }),
      lastErrorFile(changes),
      offersPhotoReview(changes, false),
      isEjecting(changes, false, [this](bool before) { workDidChange(before, isEjecting); }),
      showsCompletionCheckmark(changes, false),
      isRequestingCameraAccess(changes, false),
      availableUpdateVersion(changes),
      isUpdatingAlbum(changes, false),
      isRefreshingDevices(changes, false),
      statusReceipt(changes),
      collectedPhotoCount(changes),
      collectedVideoCount(changes),
      cameraCheckReceipts(changes),
      libraryReviews(changes),
      libraryReviewCompletedAt(changes),
      syncPhase(changes, SyncPhase{.kind = SyncPhase::Kind::finished}),
      cameraRuns(changes),
      cameraWentAway(changes, false),
      loginStatus(changes, platform.loginItem.status()),
      platform_(platform),
      services_(std::move(services)),
      photos_(std::make_shared<PhotoLibraryService>(
          platform.photoLibrary, platform.timer,
          [log = services_.diagnosticLog](DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) {
            log->record(event, metrics);
          })),
      trash_(platform.trash, platform.systemNames.trashTitle),
      notifications_([settings = services_.settings] { return settings->onboardingCompleted(); },
                     platform.notifications, platform.systemNames),
      securityScopedAccess_(platform.bookmarks),
      gate_(isSyncing, changes, tasks_,
            {.clearForFlow = [this] { clearForFlow(); },
             .show = [this](const auto& thrown,
                            const auto& stopped) { parts_->failures.showStoppedOrFailure(thrown, stopped); },
             .failure = [this] { return failure(); },
             .syncAgain = [this] { return syncAllConnected(false); }}),
      parts_(makeParts()),
      tasks_(platform.mainThread) {
  parts_->context.storeSettings([&] { settings().beginOnboardingSession(); });
  parts_->context.applyPhotosPermissionStatus(initialPhotosPermissionStatus.value_or(
      app::photosPermissionStatus(platform_.photoLibrary.authorizationStatus())));
  if (settings().authorizedDeviceProfiles().empty()) {
    parts_->context.requireSetupAfterAccessLoss();
  }
}

AppModel::~AppModel() = default;

void AppModel::record(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) {
  if (diagnosticLog_) {
    diagnosticLog_->record(event, metrics);
  }
}

std::optional<TaskHandle> AppModel::start(FirstSync firstSync) {
  if (started_) {
    return std::nullopt;
  }
  started_ = true;
  diagnosticLog_ = services_.diagnosticLog;
  record(DiagnosticLog::Event::appLaunched,
         AppDiagnostics::launchMetrics(platform_.applicationVersion, platform_.systemVersion));
  record(DiagnosticLog::Event::permissionsChanged,
         {{"photos_allowed", photosPermissionStatus == PhotosPermissionStatus::authorized},
          {"photos_declined", photosPermissionStatus == PhotosPermissionStatus::denied},
          {"setup_complete", settings().onboardingCompleted()},
          {"saved_cameras", static_cast<std::int64_t>(settings().cameraGrants().size())}});
  if (std::ranges::count(platform_.application.arguments(), uninstallArgument) > 0) {
    parts_->events.prepareUninstall();
    return std::nullopt;
  }
  parts_->events.observe();
  return tasks_.start(parts_->events.startUp(firstSync));
}

void AppModel::markSetupExited() {
  if (!settings().onboardingCompleted()) {
    changes.changed();
    parts_->context.storeSettings([&] { settings().setOnboardingNeedsAttention(true); });
  }
}

bool AppModel::canStartFirstSync() const {
  return photosPermissionStatus == PhotosPermissionStatus::authorized &&
         !settings().authorizedDeviceProfiles().empty() && !connectedDevices->empty() && !gate_.isBusy() &&
         !isEjecting && !removableVolumeAccessIssue->has_value();
}

bool AppModel::canStartFlow() const {
  return settings().onboardingCompleted() && !gate_.isBusy() && !isEjecting;
}

std::optional<FlowFailure> AppModel::failure() const { return parts_->failures.failure(); }

Task<> AppModel::untilIdle() {
  while (!isIdle()) {
    Subscription observation;
    auto change = callback<void>([this, &observation](const Callback<>& changed) {
      observation = changes.observe([changed] { changed(); });
    });
    co_await change;
  }
}

void AppModel::clearForFlow() {
  if (syncPhase->kind == SyncPhase::Kind::importing) {  // of an import that was cut short
    syncPhase = SyncPhase{.kind = SyncPhase::Kind::finished};
  }
  cameraRuns = {};
  cameraWentAway = false;
  parts_->failures.clearFailureAndReceipt();
}

bool AppModel::isIdle() const { return !gate_.isBusy() && !isEjecting && !parts_->eject.isPending(); }

// MARK: Operations of the parts

Task<> AppModel::handleMountedVolume(FileURL url) {
  return parts_->events.handleMountedVolume(std::move(url));
}

Task<> AppModel::handleUnmountedVolume(FileURL url) {
  return parts_->events.handleUnmountedVolume(std::move(url));
}

Task<> AppModel::refreshPermissionStatuses() { return parts_->permissions.refreshPermissionStatuses(); }

void AppModel::lookAgain() { parts_->permissions.lookAgain(); }

void AppModel::refreshMountedVolumes() { parts_->access.refreshMountedVolumes(); }

Task<> AppModel::refreshConnectedDevices() { return parts_->refreshes.refreshConnectedDevices(); }

Task<> AppModel::refreshTrashCount() { return parts_->refreshes.refreshTrashCount(); }

Task<> AppModel::refreshAlbumNames() { return parts_->refreshes.refreshAlbumNames(); }

Task<> AppModel::refreshPhotoHistoryCount() { return parts_->refreshes.refreshPhotoHistoryCount(); }

ValueTaskHandle<PhotosPermissionStatus> AppModel::requestPhotosAccess() {
  return parts_->permissions.requestPhotosAccess();
}

void AppModel::requestNotificationPermission(UUID requestID) {
  parts_->permissions.requestNotificationPermission(requestID);
}

UUID AppModel::beginPermissionRequest() { return parts_->requests.begin(); }

void AppModel::openSystemSettings(std::optional<SystemSettingsPane> pane) {
  parts_->systemSettings.open(pane);
}

void AppModel::openNotificationSettings() { openSystemSettings(SystemSettingsPane::notifications); }

void AppModel::setLaunchAtLogin(bool enabled) { parts_->loginItem.setEnabled(enabled); }

void AppModel::refreshLoginStatus() { parts_->loginItem.refresh(); }

void AppModel::setAvailableUpdateVersion(std::optional<std::string> version) {
  availableUpdateVersion = std::move(version);
}

void AppModel::setDeleteAfterSync(bool value) { parts_->settings.setDeleteAfterSync(value); }

void AppModel::setAutoEjectAfterSync(bool value) { parts_->settings.setAutoEjectAfterSync(value); }

void AppModel::setAddToAlbum(bool value) { parts_->settings.setAddToAlbum(value); }

Task<SyncSummary> AppModel::syncAllConnected(bool notifyWhenStarting) {
  return parts_->sync.syncAllConnected(notifyWhenStarting);
}

Started<SyncSummary> AppModel::checkNow() { return parts_->sync.checkNow(); }

Started<SyncSummary> AppModel::completeOnboardingAndSync() {
  return parts_->sync.completeOnboardingAndSync();
}

Started<FlowOutcome> AppModel::completeInterruptedImports() {
  return parts_->sync.completeInterruptedImports();
}

void AppModel::stopCheck() { parts_->sync.stopCheck(); }

Started<CleanupResult> AppModel::clearManagedTrash(DeviceTrashSummary device) {
  return parts_->cleanup.clearManagedTrash(std::move(device));
}

Started<CleanupResult> AppModel::restoreManagedTrash(DeviceTrashSummary device,
                                                     std::optional<std::set<std::string>> filenames) {
  return parts_->cleanup.restoreManagedTrash(std::move(device), std::move(filenames));
}

Started<CheckResult> AppModel::verifyCameraInPhotos(CheckPurpose purpose) {
  return parts_->check.verifyCameraInPhotos(purpose);
}

Started<FlowOutcome> AppModel::rememberVerifiedMatches(DeviceLibraryReview review) {
  return parts_->check.rememberVerifiedMatches(std::move(review));
}

Started<RestoreResult> AppModel::restoreMissingImports(DeviceLibraryReview review) {
  return parts_->check.restoreMissingImports(std::move(review));
}

Started<AlbumResult> AppModel::selectAlbum(std::string name) {
  return parts_->album.selectAlbum(std::move(name));
}

Started<AlbumResult> AppModel::presentCreateAlbum() { return parts_->album.presentCreateAlbum(); }

Started<AlbumResult> AppModel::addRecordedAssets(std::optional<std::string> fromAlbum, std::string toAlbum) {
  return parts_->album.addRecordedAssets(std::move(fromAlbum), std::move(toAlbum));
}

std::string AppModel::suggestedAlbumName() const { return parts_->album.suggestedAlbumName(); }

Started<FlowOutcome> AppModel::ejectDevice(ConnectedDeviceSummary device) {
  return parts_->eject.ejectDevice(std::move(device));
}

Task<bool> AppModel::ejectVolume(FileURL url, std::string displayName, bool isCharmera,
                                 bool notifyOnSuccess) {
  return parts_->eject.ejectVolume(std::move(url), std::move(displayName), isCharmera, notifyOnSuccess);
}

Started<AddedCamera> AppModel::addDevice(std::optional<FileURL> proposed, AfterAdding afterwards) {
  return parts_->access.addDevice(std::move(proposed), afterwards);
}

Started<FlowOutcome> AppModel::removeDevice(UUID grantID) { return parts_->access.removeDevice(grantID); }

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

std::optional<std::string> AppModel::settingsStatusDetail() const { return statusPresentation().detail; }

std::optional<std::string> AppModel::settingsStatusDetailHelp() const {
  return statusPresentation().detailHelp;
}

std::optional<Date> AppModel::settingsStatusDate() const { return statusPresentation().date; }

std::optional<std::string> AppModel::settingsStatusSymbol() const { return statusPresentation().symbol; }

void AppModel::setSettingsWindowOpen(bool isOpen) { parts_->receipts.setSettingsWindowOpen(isOpen); }

void AppModel::setStatusMenuOpen(bool isOpen) { parts_->receipts.setStatusMenuOpen(isOpen); }

// MARK: What follows from an assignment

void AppModel::connectedDevicesDidChange(const std::vector<ConnectedDeviceSummary>& before) {
  if (volumeURLs(before) != volumeURLs(connectedDevices)) {
    record(DiagnosticLog::Event::cameraConnectionChanged,
           {{"connected", static_cast<std::int64_t>(connectedDevices->size())}});
  }
}

void AppModel::workDidChange(bool wasWorking, bool isWorking) {
  if (!wasWorking && isWorking) {
    parts_->receipts.discard();
  }
  if (wasWorking && !isWorking) {
    parts_->events.workDidEnd();
  }
  if (!isWorking) {
    parts_->receipts.update();
  }
}

}  // namespace tolvander::app
