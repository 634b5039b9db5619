#include "TolvanderApp/AppModel.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

using std::chrono::seconds;

// A volume that was just mounted is left alone for so long, until the system has settled it.
constexpr seconds settlingTime(2);
// Staged files of an earlier process are swept when they are this old: no import takes so long.
constexpr seconds abandonedStagingAge(86400);

constexpr std::string_view uninstallArgument = "--prepare-uninstall";

std::vector<FileURL> volumeURLs(const std::vector<ConnectedDeviceSummary>& devices) {
  std::vector<FileURL> urls;
  for (const auto& device : devices) {
    urls.push_back(device.volumeURL);
  }
  return urls;
}

template <typename Summary>
bool containsVolume(const std::vector<Summary>& summaries, const FileURL& standardizedURL) {
  return std::ranges::any_of(
      summaries, [&](const Summary& summary) { return summary.volumeURL.standardized() == standardizedURL; });
}

template <typename Summary>
void sortByDisplayName(std::vector<Summary>& summaries) {
  std::ranges::stable_sort(summaries, [](const Summary& left, const Summary& right) {
    return standardCompare(left.displayName, right.displayName) < 0;
  });
}

// One line for each device, by its identifier or, where a record has none, by its volume's name.
std::vector<DeviceTrashSummary> trashSummaries(const std::vector<ManagedTrashRecord>& records) {
  std::map<std::string, DeviceTrashSummary> groups;
  for (const auto& record : records) {
    const std::string id = record.deviceIdentifier.value_or(record.volumeName);
    auto& group =
        groups.try_emplace(id, DeviceTrashSummary{.id = id, .displayName = record.volumeName, .count = 0})
            .first->second;
    ++group.count;
  }
  std::vector<DeviceTrashSummary> summaries;
  for (auto& [id, summary] : groups) {
    summaries.push_back(std::move(summary));
  }
  sortByDisplayName(summaries);
  return summaries;
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
      lastError(changes, {}, [this](const auto&) { lastErrorDidChange(); }),
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
      trash_(platform.trash),
      notifications_([settings = services_.settings] { return settings->onboardingCompleted(); },
                     platform.notifications),
      securityScopedAccess_(platform.bookmarks),
      gate_(
          isSyncing, changes, tasks_,
          {.clearForFlow = [this] { clearForFlow(); },
           .show = [this](const auto& thrown, const auto& stopped) { showStoppedOrFailure(thrown, stopped); },
           .failure = [this] { return failure(); },
           .syncAgain = [this] { return syncAllConnected(false); }}),
      tasks_(platform.mainThread) {
  storeSettings([&] { settings().beginOnboardingSession(); });
  applyPhotosPermissionStatus(initialPhotosPermissionStatus.value_or(
      app::photosPermissionStatus(platform_.photoLibrary.authorizationStatus())));
  if (settings().authorizedDeviceProfiles().empty()) {
    requireSetupAfterAccessLoss();
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
    prepareUninstall();
    return std::nullopt;
  }
  observeTheMachine();
  return tasks_.start(startUp(firstSync));
}

void AppModel::observeTheMachine() {
  try {
    observers_.push_back(platform_.volumes.observeMounts(
        [this](const FileURL& url) { tasks_.start(settleAndHandleMountedVolume(url)); },
        [this](const FileURL& url) { tasks_.start(handleUnmountedVolume(url)); }));
  } catch (const Error&) {
    show(std::current_exception());  // the user can still ask for a check
  }
  observers_.push_back(platform_.application.observePrepareUninstall([this] { prepareUninstall(); }));
  observers_.push_back(platform_.application.observeDidBecomeActive([this] { lookAgain(); }));
}

Task<> AppModel::startUp(FirstSync firstSync) {
  isFirstFlowAhead_ = firstSync != FirstSync::never;
  auto historyCount = refreshPhotoHistoryCount();
  co_await historyCount;
  auto sweep = sweepAbandonedStaging();
  co_await sweep;
  refreshSecurityScopedAccess();
  auto permissions = refreshPermissionStatuses();
  co_await permissions;
  refreshMountedVolumes();
  auto devices = refreshConnectedDevices();
  co_await devices;
  auto settling = settleTrash();
  co_await settling;
  auto trashCount = refreshTrashCount();
  co_await trashCount;
  auto albumNames = refreshAlbumNames();
  co_await albumNames;
  if (firstSync == FirstSync::whenSetupIsComplete && settings().onboardingCompleted()) {
    auto sync = syncAllConnected(false);
    co_await sync;
  }
  if (firstSync == FirstSync::whenSetupIsComplete) {
    isFirstFlowAhead_ = false;
    suspendSetupWhereAVolumeIsDenied();
  }
}

// What is left over is swept another time; nothing depends on it.
Task<> AppModel::sweepAbandonedStaging() {
  auto sweep = background([staging = services_.mediaStaging, now = platform_.mainThread.wallNow()] {
    staging->cleanupAbandoned(abandonedStagingAge, now);
  });
  try {
    co_await sweep;
  } catch (const Error&) {
  }
}

void AppModel::prepareUninstall() {
  try {
    platform_.loginItem.setEnabled(false);
  } catch (const Error&) {
    // The program goes all the same.
  }
  platform_.application.terminate();
}

void AppModel::markSetupExited() {
  if (!settings().onboardingCompleted()) {
    changes.changed();
    storeSettings([&] { settings().setOnboardingNeedsAttention(true); });
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

std::optional<FlowFailure> AppModel::failure() const {
  if (lastError->has_value()) {
    return FlowFailure{.words = *lastError.value(), .file = lastErrorFile};
  }
  if (const auto& issue = removableVolumeAccessIssue.value()) {
    return FlowFailure{
        .words = MediaSourceError::volumeAccessDenied(issue->volumeName).description().value_or(""),
        .file = std::nullopt};
  }
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return FlowFailure{
        .words = PhotoLibraryError(PhotoLibraryError::Case::accessDenied).description().value_or(""),
        .file = std::nullopt};
  }
  return std::nullopt;
}

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
  cameraRuns = {};
  cameraWentAway = false;
  clearFailureAndReceipt();
}

bool AppModel::isIdle() const {
  const bool ejects = ejectTask_ && !ejectTask_->isFinished();  // it may not have begun
  return !gate_.isBusy() && !isEjecting && !gate_.hasDeferredEject() && !ejects;
}

void AppModel::storeSettings(const std::function<void()>& change) {
  try {
    change();
  } catch (const Error& error) {
    // Not through `show`: the loss of access that it looks for is itself stored, and would fail here again.
    record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(error));
    presentFailure(error);
  }
}

// MARK: Events

Task<> AppModel::settleAndHandleMountedVolume(FileURL url) {
  auto settling = sleepOrCancellation(settlingTime);
  co_await settling;
  auto handling = handleMountedVolume(std::move(url));
  co_await handling;
}

Task<> AppModel::handleMountedVolume(FileURL url) {
  ++eventsBeingHandled_;
  auto handling = useMountedVolume(std::move(url));
  co_await handling;
  --eventsBeingHandled_;
  suspendSetupWhereAVolumeIsDenied();
}

Task<> AppModel::useMountedVolume(FileURL url) {
  const FileURL standardizedURL = url.standardized();
  if (!CameraVolumeDiscovery::contains(mountedVolumes(), url)) {
    co_return;
  }
  cameraCheckReceipts.update([&](auto& receipts) { receipts.erase(standardizedURL); });
  recentlyEjectedVolumes_.erase(standardizedURL.path());
  refreshSecurityScopedAccess();
  auto devices = refreshConnectedDevices();
  co_await devices;
  if (settings().authorizedDeviceProfiles().empty()) {
    statusMessage = "Connect your Charmera";
    co_return;
  }
  if (!settings().onboardingCompleted()) {
    statusMessage = connectedDevices->empty() ? "Choose your Charmera drive" : "Ready to sync";
    co_return;
  }
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    requireSetupAfterAccessLoss();
    statusMessage = "Photos access needed";
    co_return;
  }
  if (!containsVolume(connectedDevices.value(), standardizedURL)) {
    co_return;
  }
  auto settling = settleTrash();
  co_await settling;
  auto trashCount = refreshTrashCount();
  co_await trashCount;
  auto sync = syncAllConnected(false);
  co_await sync;
}

Task<> AppModel::handleUnmountedVolume(FileURL url) {
  const FileURL standardizedURL = url.standardized();
  cameraCheckReceipts.update([&](auto& receipts) { receipts.erase(standardizedURL); });
  if (!containsVolume(connectedDevices.value(), standardizedURL) &&
      !containsVolume(availableRemovableVolumes.value(), standardizedURL)) {
    co_return;
  }
  libraryReviews = {};
  libraryReviewCompletedAt = std::nullopt;
  const auto ejected = recentlyEjectedVolumes_.find(standardizedURL.path());
  const bool isOurs = isEjecting || (ejected != recentlyEjectedVolumes_.end() &&
                                     ejected->second > platform_.mainThread.wallNow());
  if (!isOurs && !statusReceipt->has_value()) {
    showsCompletionCheckmark = false;
  }
  if (removableVolumeAccessIssue->has_value() &&
      removableVolumeAccessIssue.value()->volumeName == url.lastPathComponent()) {
    removableVolumeAccessIssue = std::nullopt;
  }
  auto devices = refreshConnectedDevices();
  co_await devices;
  if (!isOurs && !isSyncing && !lastError->has_value() && !statusReceipt->has_value()) {
    statusMessage = idleStatus();
  }
}

// MARK: Refreshing

Task<> AppModel::refreshConnectedDevices() {
  if (deviceRefreshTask_) {
    auto joined = deviceRefreshTask_->join();
    co_await joined;
    co_return;
  }
  isRefreshingDevices = true;
  deviceRefreshTask_ = tasks_.start(discoverConnectedDevices());
  auto joined = deviceRefreshTask_->join();
  co_await joined;
  deviceRefreshTask_.reset();
  isRefreshingDevices = false;
}

void AppModel::connectedDevicesDidChange(const std::vector<ConnectedDeviceSummary>& before) {
  if (volumeURLs(before) != volumeURLs(connectedDevices)) {
    record(DiagnosticLog::Event::cameraConnectionChanged,
           {{"connected", static_cast<std::int64_t>(connectedDevices->size())}});
  }
}

void AppModel::refreshMountedVolumes() { publishRemovableVolumes(mountedVolumes()); }

void AppModel::publishRemovableVolumes(const std::vector<MountedVolume>& mounted) {
  std::vector<RemovableVolumeSummary> summaries;
  for (const auto& volume : mounted) {
    summaries.push_back({.volumeURL = volume.url, .displayName = CameraVolumeDiscovery::displayName(volume)});
  }
  sortByDisplayName(summaries);
  availableRemovableVolumes = std::move(summaries);
}

Task<> AppModel::refreshTrashCount() {
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    deviceTrashSummaries = {};
    co_return;
  }
  refreshSecurityScopedAccess();
  std::exception_ptr failure;
  try {
    auto reading = background([history = services_.history] { return history->trashRecords(); });
    auto records = co_await reading;
    auto checking = background([trash = trash_, authorized = authorizedTrashRecords(records)] {
      return trash.availableRecords(authorized);
    });
    const auto available = co_await checking;
    deviceTrashSummaries = trashSummaries(available);
  } catch (const Error&) {
    failure = std::current_exception();
  }
  if (failure) {
    show(failure);
  }
}

// A library that can't be read just now has no say: the names that are known stay.
Task<> AppModel::refreshAlbumNames() {
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    availableAlbumNames = {};
    co_return;
  }
  auto reading = background([photos = photos_] { return photos->albumNames(); });
  try {
    availableAlbumNames = co_await reading;
  } catch (const Error&) {
  }
}

Task<> AppModel::refreshPhotoHistoryCount() {
  auto reading = background([history = services_.history] { return history->historySummary(); });
  std::optional<ImportHistorySummary> summary;
  try {
    summary = co_await reading;
  } catch (const Error&) {
  }
  collectedPhotoCount = summary ? std::optional(summary->uniquePhotoCount) : std::nullopt;
  collectedVideoCount = summary ? std::optional(summary->uniqueVideoCount) : std::nullopt;
}

Task<> AppModel::refreshPermissionStatuses() {
  refreshLoginStatus();
  const PhotosPermissionStatus previous = photosPermissionStatus;
  applyPhotosPermissionStatus(app::photosPermissionStatus(platform_.photoLibrary.authorizationStatus()));
  auto notificationStatus = PermissionService::notificationStatus(platform_.notifications);
  setNotificationPermissionStatus(co_await notificationStatus);
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    auto devices = refreshConnectedDevices();
    co_await devices;
    requireSetupAfterAccessLoss();
    statusMessage = "Photos access needed";
    co_return;
  }
  clearPhotosPermissionError();
  if (previous != PhotosPermissionStatus::authorized) {
    auto albumNames = refreshAlbumNames();
    co_await albumNames;
  }
}

void AppModel::lookAgain() { tasks_.start(refreshPermissionStatuses()); }

void AppModel::refreshLoginStatus() { loginStatus = platform_.loginItem.status(); }

// MARK: Access lost

void AppModel::applyPhotosPermissionStatus(PhotosPermissionStatus status) {
  if (status != photosPermissionStatus) {
    record(DiagnosticLog::Event::permissionsChanged,
           {{"photos_allowed", status == PhotosPermissionStatus::authorized},
            {"photos_declined", status == PhotosPermissionStatus::denied}});
  }
  photosPermissionStatus = status;
  if (status != PhotosPermissionStatus::authorized) {
    requireSetupAfterAccessLoss();
  }
}

void AppModel::suspendSetupWhereAVolumeIsDenied() {
  if (!isSetupSuspensionDue_ || isSyncing || isFirstFlowAhead_ || eventsBeingHandled_ > 0) {
    return;
  }
  isSetupSuspensionDue_ = false;
  if (removableVolumeAccessIssue->has_value()) {
    requireSetupAfterAccessLoss();
    statusMessage = "Camera access needed";
  }
}

void AppModel::requireSetupAfterAccessLoss() {
  if (!settings().onboardingCompleted()) {
    return;
  }
  storeSettings([&] {
    settings().setOnboardingCompleted(false);
    settings().setOnboardingNeedsAttention(true);
  });
  record(DiagnosticLog::Event::setupSuspended);
  gate_.stopForGood();
  if (statusReceiptTask_) {
    statusReceiptTask_->cancel();
  }
  statusReceipt = std::nullopt;
  cameraCheckReceipts = {};
  libraryReviews = {};
  libraryReviewCompletedAt = std::nullopt;
  showsCompletionCheckmark = false;
}

// MARK: What follows from an assignment

void AppModel::workDidChange(bool wasWorking, bool isWorking) {
  if (!wasWorking && isWorking) {
    discardCompletionReceipt();
  }
  if (wasWorking && !isWorking) {
    isFirstFlowAhead_ = false;
    suspendSetupWhereAVolumeIsDenied();
  }
  if (!isWorking) {
    updateCompletionPresentation(platform_.mainThread.wallNow());
  }
}

void AppModel::lastErrorDidChange() {
  lastErrorFile = lastError->has_value() ? std::exchange(failedFile_, std::nullopt) : std::nullopt;
  offersPhotoReview = false;
  if (lastError->has_value()) {
    discardCompletionReceipt();
  }
}

}  // namespace tolvander::app
