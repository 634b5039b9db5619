#include <algorithm>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Import/CameraImport.h"
#include "TolvanderApp/Import/MediaFingerprintStage.h"
#include "TolvanderApp/PausedImports.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/MediaImportError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app {

namespace {

bool isCharmera(const DetectedDevice& device) { return device.profile.kind == DeviceProfile::Kind::charmera; }

std::string importingStatus(std::int64_t completed, std::int64_t total) {
  return std::to_string(completed) + " of " + std::to_string(total) + " synced…";
}

// Absent where the phase leaves the status line as it is.
std::optional<std::string> statusOf(const SyncPhase& phase) {
  switch (phase.kind) {
    case SyncPhase::Kind::checkingAccess:
      return "Checking access…";
    case SyncPhase::Kind::fingerprinting:
      return "Reading camera files…";
    case SyncPhase::Kind::recognizing:
      return "Checking Photos…";
    case SyncPhase::Kind::preparing:
      return "Preparing imports…";
    case SyncPhase::Kind::importing:
      return importingStatus(phase.completed, phase.total);
    case SyncPhase::Kind::album:
      return "Checking album…";
    case SyncPhase::Kind::finished:
      break;
  }
  return std::nullopt;
}

CameraRun::End runEnd(FlowEnd end) {
  switch (end) {
    case FlowEnd::done:
    case FlowEnd::declined:
      return CameraRun::End::done;
    case FlowEnd::stopped:
      return CameraRun::End::stopped;
    case FlowEnd::cameraWentAway:
      return CameraRun::End::cameraWentAway;
    case FlowEnd::failed:
      break;
  }
  return CameraRun::End::failed;
}

// Throws where the history can't be read, since nothing of it is known then.
std::set<std::string> completeImports(PhotoLibraryService& photos, SyncHistoryStore& history) {
  return photos.completeInterruptedImports(interruptedImports(history, history.identity()));
}

// Does what reads the camera. What fails for want of the camera is a stop and not a failure; what the library
// and the history say holds without it too.
template <typename Work>
auto stoppingWithTheCamera(const Volumes& volumes, const FileURL& volumeURL, Work work) {
  try {
    return work();
  } catch (const PhotoLibraryError&) {
    throw;
  } catch (const PhotosPlatformError&) {
    throw;
  } catch (const SyncHistoryError&) {
    throw;
  } catch (const MediaImportError&) {
    throw;
  } catch (const std::exception&) {
    if (CameraVolumeDiscovery::isStillMounted(volumeURL, volumes)) {
      throw;
    }
  }
  throw CancellationError();
}

}  // namespace

// MARK: The one way in

Task<SyncSummary> AppModel::syncAllConnected(bool notifyWhenStarting) {
  if (!settings().onboardingCompleted() || gate_.foldSync()) {
    co_return SyncSummary();
  }
  const auto running = gate_.start(performSyncAllConnected(notifyWhenStarting), FlowGate::Opening::byTheFlow);
  auto summary = running.value();
  co_return co_await summary;
}

Started<SyncSummary> AppModel::checkNow() {
  if (!settings().onboardingCompleted() || isSyncing || isEjecting) {
    return std::nullopt;
  }
  statusMessage = "Checking for your Charmera…";
  return tasks_.start(lookForVolumesAndSync());
}

Task<SyncSummary> AppModel::lookForVolumesAndSync() {
  refreshMountedVolumes();
  auto sync = syncAllConnected(false);
  co_return co_await sync;
}

Started<SyncSummary> AppModel::completeOnboardingAndSync() {
  applyPhotosPermissionStatus(app::photosPermissionStatus(platform_.photoLibrary.authorizationStatus()));
  if (!canStartFirstSync()) {
    return std::nullopt;
  }
  storeSettings([&] { settings().setOnboardingCompleted(true); });
  if (!settings().onboardingCompleted()) {
    return std::nullopt;
  }
  record(DiagnosticLog::Event::setupCompleted);
  statusMessage = "Starting sync…";
  return tasks_.start(syncAllConnected(true));
}

Started<FlowOutcome> AppModel::completeInterruptedImports() {
  if (gate_.isBusy() || isEjecting || photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return std::nullopt;
  }
  return gate_.start(completeWithoutCamera(), FlowGate::Opening::byTheFlow);
}

Task<FlowOutcome> AppModel::completeWithoutCamera() {
  auto completing = finishPreparedImports();
  co_await completing;
  co_return FlowOutcome();
}

void AppModel::stopCheck() {
  record(DiagnosticLog::Event::syncCancelled);
  gate_.stop();
  statusMessage =
      gate_.isCleaningUp() ? "Stopping cleanup…" : "Finishing the current import before stopping…";
}

// MARK: One run over all cameras

Task<SyncSummary> AppModel::performSyncAllConnected(bool notifyWhenStarting) {
  SyncSummary summary;
  if (!settings().onboardingCompleted() || isEjecting) {
    co_return summary;
  }
  libraryReviews = {};
  libraryReviewCompletedAt = std::nullopt;
  const bool hasLibrary = photosPermissionStatus == PhotosPermissionStatus::authorized;
  if (settings().authorizedDeviceProfiles().empty()) {
    statusMessage = statusWithoutProfiles();
    if (hasLibrary) {
      auto completing = finishPreparedImports();
      co_await completing;
    }
    co_return summary;
  }
  if (!hasLibrary) {
    requireSetupAfterAccessLoss();
    statusMessage = "Photos access needed";
    co_return summary;
  }
  gate_.open();
  statusMessage = "Scanning camera…";
  auto syncing = gate_.attempt(syncMountedVolumes(notifyWhenStarting), "Check stopped");
  summary.outcome = co_await syncing;
  if (summary.outcome.end == FlowEnd::done && cameraWentAway) {
    summary.outcome.end = FlowEnd::cameraWentAway;
  }
  summary.cameras = cameraRuns;
  co_return summary;
}

// Where no camera is connected, whose run would do so first. A failure is shown by the next run of a camera,
// which completes first.
Task<> AppModel::finishPreparedImports() {
  auto completing = background([photos = photos_, history = services_.history] {
    if (history->knownIdentity()) {  // nothing was prepared before it was made
      completeImports(*photos, *history);
    }
  });
  try {
    co_await completing;
  } catch (const std::exception&) {
  }
}

Task<> AppModel::syncMountedVolumes(bool notifyWhenStarting) {
  refreshSecurityScopedAccess();
  bool foundDevice = false;
  for (const auto& url : CameraVolumeDiscovery::mountedURLs(platform_.volumes)) {
    if (gate_.isStopRequested()) {
      break;
    }
    auto detecting =
        gate_.attempt(detectConnectedCamera(url, settings().authorizedDeviceProfiles()), "Check stopped");
    Attempt<std::optional<FoundCamera>> detected = co_await detecting;
    foundDevice = foundDevice || !detected.value || *detected.value;
    if (detected.value && *detected.value) {
      auto syncing = synchronize(*std::move(*detected.value), notifyWhenStarting);
      co_await syncing;
    }
  }
  if (cameraRuns->empty() && !gate_.isStopRequested()) {
    auto completing = finishPreparedImports();
    co_await completing;
  }
  if (gate_.isStopRequested()) {
    showStopped("Check stopped");
    co_return;
  }
  auto devices = refreshConnectedDevices();
  co_await devices;
  auto trashCount = refreshTrashCount();
  co_await trashCount;
  if (!foundDevice && !lastError->has_value() && !statusReceipt->has_value()) {
    statusMessage = idleStatus();
  }
}

// MARK: One camera

Task<> AppModel::synchronize(FoundCamera camera, bool notifyWhenStarting) {
  if (gate_.isStopRequested()) {
    co_return;
  }
  DetectedDevice& device = camera.device;
  record(DiagnosticLog::Event::syncStarted,
         {{"camera_files", static_cast<std::int64_t>(device.files.size())}});
  cameraCheckReceipts.update([&](auto& receipts) { receipts.erase(device.volumeURL.standardized()); });
  showsCompletionCheckmark = false;
  statusMessage = isCharmera(device) ? "Scanning Charmera…" : "Scanning " + device.displayName + "…";
  if (notifyWhenStarting) {
    auto notifying = notifications_.sendSyncStarted(isCharmera(device));
    co_await notifying;
  }
  auto current = currentToken();
  const CancellationToken token = co_await current;
  beginRun(device, camera.setAside);
  auto running = background([coordinator = coordinator(device, token), device,
                             album = settings().albumForSync()](const CancellationToken& runToken) {
    return coordinator.run(device.files, isCharmera(device), album, runToken);
  });
  auto attempt = gate_.attempt(std::move(running), "Check stopped");
  Attempt<SyncResult> ended = co_await attempt;
  endRun(ended.outcome.end);
  if (ended.value) {
    auto presenting = presentSyncResult(std::move(device), *std::move(ended.value));
    co_await presenting;
  }
  auto historyCount = refreshPhotoHistoryCount();
  co_await historyCount;
}

Task<> AppModel::presentSyncResult(DetectedDevice device, SyncResult result) {
  record(DiagnosticLog::Event::syncFinished,
         {{"scanned", result.scannedCount},
          {"recognized", result.recognizedCount},
          {"metadata_skipped", result.metadataMatchedCount},
          {"imported", static_cast<std::int64_t>(result.imported.size())}});
  if (gate_.isStopRequested() || lastError->has_value()) {
    co_return;
  }
  const LastSyncReceipt receipt = saveReceipt(device, result.imported);
  cameraCheckReceipts.update(
      [&](auto& receipts) { receipts.insert_or_assign(device.volumeURL.standardized(), receipt); });
  statusMessage = syncStatus(receipt, false);

  CleanupOutcome cleanup{.safeToEject = true, .didNotify = false};
  if (!result.imported.empty() && settings().deleteAfterSync()) {
    auto offering = offerToTrash(result.imported, device);
    cleanup = co_await offering;
  }
  auto current = currentToken();
  const CancellationToken token = co_await current;
  if (gate_.isStopRequested() || token.isCancelled()) {
    showStopped("Check stopped");
    co_return;
  }
  bool ejected = false;
  if (settings().autoEjectAfterSync() && cleanup.safeToEject && !lastError->has_value()) {
    auto ejecting = ejectVolume(device.volumeURL, device.displayName, isCharmera(device), false);
    ejected = co_await ejecting;
  }
  if (!lastError->has_value()) {
    if (receipt.count == 0) {
      auto notifying = notifications_.sendNoNewFiles(isCharmera(device), ejected);
      co_await notifying;
    } else if (!cleanup.didNotify) {
      auto notifying = notifications_.sendSyncFinished(receipt.count, receipt.videoCount.value_or(0),
                                                       isCharmera(device), ejected);
      co_await notifying;
    }
  }
  if (!lastError->has_value()) {
    StatusReceipt shown = syncReceipt(receipt, result, ejected);
    changeRun([&shown](CameraRun& run) { run.likelyCopies = shown.metadataSkippedFiles; });
    showReceipt(std::move(shown));
  }
  auto permissions = refreshPermissionStatuses();
  co_await permissions;
  if (settings().onboardingCompleted() && !lastError->has_value()) {
    showCompletionIndicator(ejected ? std::optional(StatusReceipt::afterEject) : std::nullopt);
  }
}

StatusReceipt AppModel::syncReceipt(const LastSyncReceipt& receipt, const SyncResult& result,
                                    bool ejected) const {
  std::vector<std::string> skippedNames;
  for (const auto& file : result.metadataMatchedFiles) {
    skippedNames.push_back(file.filename);
  }
  return {.message = syncStatus(receipt, ejected),
          .completedAt = platform_.mainThread.wallNow(),
          .metadataSkippedCount = result.metadataMatchedCount,
          .metadataSkippedFiles = std::move(skippedNames),
          .minimumDisplayDuration = ejected ? StatusReceipt::afterEject : StatusReceipt::whileMounted,
          .id = UUID::random()};
}

LastSyncReceipt AppModel::saveReceipt(const DetectedDevice& device,
                                      const std::vector<FingerprintedMediaFile>& imported) {
  LastSyncReceipt receipt{
      .count = static_cast<std::int64_t>(imported.size()),
      .deviceName = device.displayName,
      .completedAt = platform_.mainThread.wallNow(),
      .videoCount = std::ranges::count_if(imported, [](const auto& file) { return file.file.isVideo(); })};
  storeSettings([&] { settings().setLastSyncReceipt(receipt); });
  return receipt;
}

// MARK: What the engine is given

SyncCoordinator AppModel::coordinator(const DetectedDevice& device, const CancellationToken& token) {
  const auto requireLibraryAccess = [&library = platform_.photoLibrary] {
    if (library.authorizationStatus() != PhotosAuthorizationStatus::authorized) {
      throw PhotoLibraryError(PhotoLibraryError::Case::accessDenied);
    }
  };
  // A camera that was pulled out is a stop and not a failure.
  const auto checkAccess = [&volumes = platform_.volumes, volumeURL = device.volumeURL, token,
                            requireLibraryAccess] {
    token.throwIfCancelled();
    if (!CameraVolumeDiscovery::isStillMounted(volumeURL, volumes)) {
      throw CancellationError();
    }
    requireLibraryAccess();
  };
  const auto clock = [&mainThread = platform_.mainThread] { return mainThread.wallNow(); };
  const auto whileMounted = [&volumes = platform_.volumes, volumeURL = device.volumeURL](auto work) {
    return stoppingWithTheCamera(volumes, volumeURL, work);
  };
  const auto import = std::make_shared<CameraImport>(
      CameraImport::Services{
          .mediaStaging = services_.mediaStaging, .photos = photos_, .history = services_.history},
      importObserver(), requireLibraryAccess, clock);
  return SyncCoordinator(
      services_.history,
      {.checkAccess = checkAccess,
       .fingerprint =
           [token, whileMounted, failedFile = failedFileObserver()](const std::vector<CameraMediaFile>& files,
                                                                    bool confidentlyRecognizedAsCharmera) {
             return whileMounted([&] {
               return MediaFingerprintStage::fingerprint(files, confidentlyRecognizedAsCharmera, token,
                                                         TimeZone::current(), failedFile);
             });
           },
       .reconcile =
           [photos = photos_, history = services_.history, token](
               const std::vector<FingerprintedMediaFile>& files, bool broader) {
             return photos->reconcileExisting(files, broader, token, history->records());
           },
       .existingIdentifiers =
           [photos = photos_, token](const std::vector<std::string>& identifiers) {
             return photos->existingAssetIdentifiers(identifiers, token);
           },
       // The album is filled once, at the end of the run, with every recorded item of the card.
       .importFiles =
           [import, token, whileMounted](const std::vector<FingerprintedMediaFile>& files,
                                         bool confidentlyRecognizedAsCharmera) {
             return whileMounted([&] {
               return import->importNewFiles(files, confidentlyRecognizedAsCharmera, std::nullopt, token);
             });
           },
       .addToAlbum = [photos = photos_, token](
                         const std::vector<std::string>& identifiers,
                         const std::string& album) { photos->addAssets(identifiers, album, token); },
       .phase =
           [weak = weak_from_this(), &mainThread = platform_.mainThread](const SyncPhase& phase) {
             mainThread.post([weak, phase] {
               if (const auto model = weak.lock()) {
                 model->setSyncPhase(phase);
               }
             });
           },
       .completeInterruptedImports =
           [photos = photos_, history = services_.history] { return completeImports(*photos, *history); }},
      clock);
}

CameraImport::Observer AppModel::importObserver() {
  const auto callModel = [weak = weak_from_this(), &mainThread = platform_.mainThread](auto function) {
    return mainThread.call([&] {
      const auto model = weak.lock();
      return model ? function(*model) : false;
    });
  };
  return {.mayGoOn =
              [callModel] {
                return callModel([](const AppModel& model) { return !model.gate_.isStopRequested(); });
              },
          .progress =
              [callModel](std::int64_t completed, std::int64_t total) {
                return callModel([completed, total](AppModel& model) {
                  return model.showImportProgress(completed, total);
                });
              },
          .imported =
              [callModel](const MediaCounts& counts) {
                callModel([counts](AppModel& model) {
                  model.changeRun([counts](CameraRun& run) {
                    run.imported.photos += counts.photos;
                    run.imported.videos += counts.videos;
                  });
                  return true;
                });
              },
          .failedFile = failedFileObserver()};
}

std::function<void(const CameraMediaFile& file)> AppModel::failedFileObserver() {
  failedFile_ = std::nullopt;
  return [weak = weak_from_this(), &mainThread = platform_.mainThread](const CameraMediaFile& file) {
    mainThread.call([&] {
      if (const auto model = weak.lock()) {
        model->failedFile_ = file.filename;
      }
    });
  };
}

void AppModel::beginRun(const DetectedDevice& device, const std::vector<std::string>& setAside) {
  cameraRuns.update([&](auto& runs) {
    runs.push_back({.volumeURL = device.volumeURL,
                    .name = device.displayName,
                    .fileCount = static_cast<std::int64_t>(device.files.size()),
                    .newCount = std::nullopt,
                    .imported = {},
                    .setAside = setAside,
                    .likelyCopies = {},
                    .end = CameraRun::End::running});
  });
}

void AppModel::changeRun(const std::function<void(CameraRun& run)>& change) {
  cameraRuns.update([&](auto& runs) {
    if (!runs.empty()) {
      change(runs.back());
    }
  });
}

void AppModel::endRun(FlowEnd end) {
  changeRun([end](CameraRun& run) { run.end = runEnd(end); });
}

bool AppModel::showImportProgress(std::int64_t completed, std::int64_t total) {
  syncPhase = SyncPhase::importing(completed, total);
  changeRun([total](CameraRun& run) { run.newCount = total; });
  statusMessage = gate_.isStopRequested() ? "Finishing before eject…" : importingStatus(completed, total);
  return !gate_.isStopRequested();
}

void AppModel::setSyncPhase(const SyncPhase& phase) {
  record(DiagnosticLog::Event::syncPhaseChanged, AppDiagnostics::phaseMetrics(phase));
  syncPhase = phase;
  if (phase.kind == SyncPhase::Kind::album) {
    changeRun([](CameraRun& run) { run.newCount = run.newCount.value_or(0); });  // nothing was new
  }
  if (auto status = statusOf(phase)) {
    statusMessage = std::move(*status);
  }
}

}  // namespace tolvander::app
