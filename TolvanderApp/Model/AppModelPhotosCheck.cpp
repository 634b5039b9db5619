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

// MARK: Check

Started<CheckResult> AppModel::verifyCameraInPhotos(CheckPurpose purpose) {
  if (!canStartFlow() || photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return std::nullopt;
  }
  libraryReviews = {};
  libraryReviewCompletedAt = std::nullopt;
  return gate_.start(check(purpose));
}

Task<CheckResult> AppModel::check(CheckPurpose purpose) {
  auto reviewing = gate_.attempt(reviewConnectedCameras(purpose), "Camera check stopped");
  CheckResult result;
  result.outcome = co_await reviewing;
  result.reviews = libraryReviews;
  co_return result;
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
    auto completing = finishPreparedImports();
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

Started<FlowOutcome> AppModel::rememberVerifiedMatches(DeviceLibraryReview review) {
  if (!canStartFlow()) {
    return std::nullopt;
  }
  cameraWentAway = false;
  return gate_.start(remember(std::move(review)), FlowGate::Opening::keepingWhatIsShown);
}

Task<FlowOutcome> AppModel::remember(DeviceLibraryReview review) {
  auto saving = gate_.attempt(saveMatches(std::move(review)), "");
  FlowOutcome outcome = co_await saving;
  auto historyCount = refreshPhotoHistoryCount();
  co_await historyCount;
  co_return outcome;
}

Task<> AppModel::saveMatches(DeviceLibraryReview review) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto remembering =
      background([coordinator = coordinator(review.device, token), review = review.review](
                     const CancellationToken& stop) { coordinator.rememberRecognizedImports(review, stop); });
  co_await remembering;
  statusMessage = "Matches saved";
}

// MARK: Importing what is missing

Started<RestoreResult> AppModel::restoreMissingImports(DeviceLibraryReview review) {
  if (!canStartFlow() || missingCount(review) < 1 || !review.review.uncertain.empty() ||
      !review.review.unchecked.empty()) {
    return std::nullopt;
  }
  return tasks_.start(askToRestore(std::move(review)));
}

Task<RestoreResult> AppModel::askToRestore(DeviceLibraryReview review) {
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
  if (answer != 0) {
    co_return RestoreResult{.outcome = {.end = FlowEnd::declined}};
  }
  // The question may have been open for long.
  if (!canStartFlow() || photosPermissionStatus != PhotosPermissionStatus::authorized) {
    co_return RestoreResult{.outcome = {.end = FlowEnd::stopped}};
  }
  const auto restoring = gate_.start(restore(std::move(review)));
  auto result = restoring.value();
  co_return co_await result;
}

Task<RestoreResult> AppModel::restore(DeviceLibraryReview review) {
  beginRun(review.device, review.setAside);
  auto importing = gate_.attempt(importMissing(std::move(review)), "Restoration stopped");
  RestoreResult result;
  result.outcome = co_await importing;
  endRun(result.outcome.end);
  result.run = cameraRuns->back();
  auto historyCount = refreshPhotoHistoryCount();
  co_await historyCount;
  co_return result;
}

Task<> AppModel::importMissing(DeviceLibraryReview review) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto restoring = background([coordinator = coordinator(review.device, token), review,
                               album = settings().albumForSync()](const CancellationToken& stop) {
    const bool isCharmera = review.device.profile.kind == DeviceProfile::Kind::charmera;
    return coordinator.restore(review.review, isCharmera, album, stop);
  });
  const SyncResult result = co_await restoring;
  if (!result.imported.empty()) {
    saveReceipt(review.device, result.imported);
  }
  statusMessage = items(result.imported.size(), "missing item") + " imported";
}

}  // namespace tolvander::app
