#include <numeric>

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/PausedImports.h"
#include "TolvanderCore/Counted.h"

namespace tolvander::app {

namespace {

// `kind`: "item" with an adjective.
std::string items(std::size_t count, const std::string& kind) {
  return countedInDigits(static_cast<std::int64_t>(count), kind, kind + "s");
}

std::size_t missingCount(const DeviceLibraryReview& review) {
  return review.review.missingRecorded.size() + review.review.newFiles.size();
}

// The sum over all reviews of the size of one of their lists.
template <typename List>
std::int64_t total(const std::vector<DeviceLibraryReview>& reviews, List CameraLibraryReview::*list) {
  return std::accumulate(reviews.begin(), reviews.end(), std::int64_t{0},
                         [list](std::int64_t sum, const DeviceLibraryReview& entry) {
                           return sum + static_cast<std::int64_t>((entry.review.*list).size());
                         });
}

}  // namespace

// MARK: The busy state of every flow that is not a sync

bool AppModel::canStartFlow() const {
  return settings().onboardingCompleted() && !isSyncing && !isEjecting && !activeSyncTask_;
}

void AppModel::beginFlow() {
  syncCancellationRequested_ = false;
  cameraRuns = {};
  cameraWentAway = false;
  pendingSyncRequested_ = false;  // asked for during a flow that was stopped: the stop was the answer
  clearFailureAndReceipt();
}

void AppModel::finishAuxiliaryCheck() {
  isSyncing = false;
  activeSyncTask_.reset();
  startDeferredEject();
  if (pendingSyncRequested_ && !syncCancellationRequested_) {
    pendingSyncRequested_ = false;
    tasks_.start(syncAllConnected(false));
  }
}

// MARK: Check

void AppModel::verifyCameraInPhotos(CheckPurpose purpose) {
  if (!canStartFlow() || photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return;
  }
  libraryReviews = {};
  libraryReviewCompletedAt = std::nullopt;
  isSyncing = true;
  beginFlow();
  activeSyncTask_ = tasks_.start(runCheck(purpose));
}

Task<> AppModel::runCheck(CheckPurpose purpose) {
  std::exception_ptr failure;
  try {
    auto reviewing = reviewConnectedCameras(purpose);
    co_await reviewing;
  } catch (const std::exception&) {
    failure = std::current_exception();
  }
  if (failure) {
    showStoppedOrFailure(failure, "Camera check stopped");
  }
  finishAuxiliaryCheck();
}

Task<> AppModel::reviewConnectedCameras(CheckPurpose purpose) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  refreshSecurityScopedAccess();
  for (const auto& url : CameraVolumeDiscovery::mountedURLs(platform_.volumes)) {
    auto detecting = detectConnectedCamera(url, settings().authorizedDeviceProfiles());
    const auto camera = co_await detecting;
    if (!camera) {
      continue;
    }
    auto reviewing =
        background([coordinator = coordinator(camera->device, token), camera = *camera, purpose,
                    history = services_.history, photos = photos_](const CancellationToken& stop) {
          const DetectedDevice& device = camera.device;
          const bool isCharmera = device.profile.kind == DeviceProfile::Kind::charmera;
          DeviceLibraryReview entry{.device = device, .review = {}, .setAside = camera.setAside};
          entry.review = purpose == CheckPurpose::beforeChange
                             ? coordinator.reviewBeforeChange(device.files, isCharmera, stop)
                             : coordinator.review(device.files, isCharmera, true, stop);
          if (!entry.review.uncertain.empty()) {
            entry.finishedByNextSync = PausedImports::of(*history, *photos).finishedByNextSync;
          }
          return entry;
        });
    auto review = co_await reviewing;
    libraryReviews.update([&](auto& reviews) { reviews.push_back(std::move(review)); });
  }
  token.throwIfCancelled();
  if (purpose == CheckPurpose::beforeChange && libraryReviews->empty()) {
    auto completing = completeInterruptedImports();
    co_await completing;
    token.throwIfCancelled();
  }
  presentReviews();
}

void AppModel::presentReviews() {
  libraryReviewCompletedAt = platform_.mainThread.wallNow();
  const auto& reviews = libraryReviews.value();
  record(DiagnosticLog::Event::reviewFinished,
         {{"represented", total(reviews, &CameraLibraryReview::represented)},
          {"metadata_matches", total(reviews, &CameraLibraryReview::metadataRepresented)},
          {"missing", total(reviews, &CameraLibraryReview::missingRecorded)},
          {"unchecked", total(reviews, &CameraLibraryReview::unchecked)},
          {"uncertain", total(reviews, &CameraLibraryReview::uncertain)}});
  if (reviews.empty()) {
    statusMessage = idleStatus();
  } else {
    statusMessage = photoReviewIsIncomplete() ? "Camera check incomplete" : "Camera check finished";
  }
}

// MARK: Remembering what was found

void AppModel::rememberVerifiedMatches(DeviceLibraryReview review) {
  if (!canStartFlow()) {
    return;
  }
  isSyncing = true;
  syncCancellationRequested_ = false;
  pendingSyncRequested_ = false;
  cameraWentAway = false;
  activeSyncTask_ = tasks_.start(remember(std::move(review)));
}

Task<> AppModel::remember(DeviceLibraryReview review) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto remembering =
      background([coordinator = coordinator(review.device, token), review = review.review](
                     const CancellationToken& stop) { coordinator.rememberRecognizedImports(review, stop); });
  std::exception_ptr failure;
  try {
    co_await remembering;
    statusMessage = "Matches saved";
  } catch (const CancellationError&) {
    noteStop();
  } catch (const std::exception&) {
    failure = std::current_exception();
  }
  if (failure) {
    show(failure);
  }
  auto historyCount = refreshPhotoHistoryCount();
  co_await historyCount;
  finishAuxiliaryCheck();
}

// MARK: Importing what is missing

void AppModel::restoreMissingImports(DeviceLibraryReview review) {
  if (!canStartFlow() || missingCount(review) < 1 || !review.review.uncertain.empty() ||
      !review.review.unchecked.empty()) {
    return;
  }
  tasks_.start(askToRestore(std::move(review)));
}

Task<> AppModel::askToRestore(DeviceLibraryReview review) {
  const std::size_t count = missingCount(review);
  auto question = platform_.dialogs.ask(
      {.style = Alert::Style::warning,
       .message = "Import " + items(count, "camera item") + " into Photos?",
       .informativeText =
           "This includes items previously removed from Photos. Tolvander will check again, then import only "
           "unmatched camera originals. Camera files and existing Photos items stay untouched. Recognition "
           "is "
           "bounded and may miss some existing copies.",
       .buttons = {"Import Missing Items", "Cancel"}});
  const auto answer = co_await question;
  // The question may have been open for long.
  if (answer != 0 || !canStartFlow() || photosPermissionStatus != PhotosPermissionStatus::authorized) {
    co_return;
  }
  isSyncing = true;
  beginFlow();
  activeSyncTask_ = tasks_.start(restore(std::move(review)));
}

Task<> AppModel::restore(DeviceLibraryReview review) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  beginRun(review.device, review.setAside);
  auto restoring = background([coordinator = coordinator(review.device, token), review,
                               album = albumForSync()](const CancellationToken& stop) {
    const bool isCharmera = review.device.profile.kind == DeviceProfile::Kind::charmera;
    return coordinator.restore(review.review, isCharmera, album, stop);
  });
  std::exception_ptr failure;
  try {
    const SyncResult result = co_await restoring;
    if (!result.imported.empty()) {
      saveReceipt(review.device, result.imported);
    }
    statusMessage = items(result.imported.size(), "missing item") + " imported";
  } catch (const std::exception&) {
    failure = std::current_exception();
  }
  endRun(failure);
  if (failure) {
    showStoppedOrFailure(failure, "Restoration stopped");
  }
  auto historyCount = refreshPhotoHistoryCount();
  co_await historyCount;
  finishAuxiliaryCheck();
}

}  // namespace tolvander::app
