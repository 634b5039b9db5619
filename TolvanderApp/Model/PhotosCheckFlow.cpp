#include "TolvanderApp/Model/PhotosCheckFlow.h"

#include <numeric>

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

Started<CheckResult> PhotosCheckFlow::verifyCameraInPhotos(AppModel::CheckPurpose purpose) {
  if (!model_.canStartFlow() || model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return std::nullopt;
  }
  fields_.libraryReviews = {};
  fields_.libraryReviewCompletedAt = std::nullopt;
  return context_.gate.start(check(purpose));
}

Task<CheckResult> PhotosCheckFlow::check(AppModel::CheckPurpose purpose) {
  auto reviewing = context_.gate.attempt(reviewConnectedCameras(purpose), "Camera check stopped");
  CheckResult result;
  result.outcome = co_await reviewing;
  result.reviews = fields_.libraryReviews;
  co_return result;
}

Task<> PhotosCheckFlow::reviewConnectedCameras(AppModel::CheckPurpose purpose) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  access_.refreshSecurityScopedAccess();
  for (const auto& url : CameraVolumeDiscovery::mountedURLs(context_.platform.volumes)) {
    auto detecting = access_.detectConnectedCamera(url, model_.settings().authorizedDeviceProfiles());
    const auto camera = co_await detecting;
    if (!camera) {
      continue;
    }
    auto reviewing = background([coordinator = runs_.coordinator(camera->device, token), camera = *camera,
                                 purpose, history = context_.services.history,
                                 photos = context_.photos](const CancellationToken& stop) {
      const DetectedDevice& device = camera.device;
      const bool isCharmera = device.profile.kind == DeviceProfile::Kind::charmera;
      DeviceLibraryReview entry{.device = device, .review = {}, .setAside = camera.setAside};
      entry.review = purpose == AppModel::CheckPurpose::beforeChange
                         ? coordinator.reviewBeforeChange(device.files, isCharmera, stop)
                         : coordinator.review(device.files, isCharmera, true, stop);
      if (!entry.review.uncertain.empty()) {
        entry.finishedByNextSync = PausedImports::of(*history, *photos).finishedByNextSync;
      }
      return entry;
    });
    auto review = co_await reviewing;
    fields_.libraryReviews.update([&](auto& reviews) { reviews.push_back(std::move(review)); });
  }
  token.throwIfCancelled();
  if (purpose == AppModel::CheckPurpose::beforeChange && fields_.libraryReviews->empty()) {
    auto completing = runs_.finishPreparedImports();
    co_await completing;
    token.throwIfCancelled();
  }
  presentReviews();
}

void PhotosCheckFlow::presentReviews() {
  fields_.libraryReviewCompletedAt = context_.platform.mainThread.wallNow();
  const auto& reviews = fields_.libraryReviews.value();
  context_.record(DiagnosticLog::Event::reviewFinished,
                  {{"represented", total(reviews, &CameraLibraryReview::represented)},
                   {"metadata_matches", total(reviews, &CameraLibraryReview::metadataRepresented)},
                   {"missing", total(reviews, &CameraLibraryReview::missingRecorded)},
                   {"unchecked", total(reviews, &CameraLibraryReview::unchecked)},
                   {"uncertain", total(reviews, &CameraLibraryReview::uncertain)}});
  if (reviews.empty()) {
    fields_.statusMessage = model_.idleStatus();
  } else {
    fields_.statusMessage =
        model_.photoReviewIsIncomplete() ? "Camera check incomplete" : "Camera check finished";
  }
}

// MARK: Remembering what was found

Started<FlowOutcome> PhotosCheckFlow::rememberVerifiedMatches(DeviceLibraryReview review) {
  if (!model_.canStartFlow()) {
    return std::nullopt;
  }
  fields_.cameraWentAway = false;
  return context_.gate.start(remember(std::move(review)), FlowGate::Opening::keepingWhatIsShown);
}

Task<FlowOutcome> PhotosCheckFlow::remember(DeviceLibraryReview review) {
  auto saving = context_.gate.attempt(saveMatches(std::move(review)), "");
  FlowOutcome outcome = co_await saving;
  auto historyCount = model_.refreshPhotoHistoryCount();
  co_await historyCount;
  co_return outcome;
}

Task<> PhotosCheckFlow::saveMatches(DeviceLibraryReview review) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto remembering =
      background([coordinator = runs_.coordinator(review.device, token), review = review.review](
                     const CancellationToken& stop) { coordinator.rememberRecognizedImports(review, stop); });
  co_await remembering;
  fields_.statusMessage = "Matches saved";
}

// MARK: Importing what is missing

Started<RestoreResult> PhotosCheckFlow::restoreMissingImports(DeviceLibraryReview review) {
  if (!model_.canStartFlow() || missingCount(review) < 1 || !review.review.uncertain.empty() ||
      !review.review.unchecked.empty()) {
    return std::nullopt;
  }
  return context_.tasks.start(askToRestore(std::move(review)));
}

Task<RestoreResult> PhotosCheckFlow::askToRestore(DeviceLibraryReview review) {
  const std::size_t count = missingCount(review);
  auto question = context_.platform.dialogs.ask(
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
  if (!model_.canStartFlow() || model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    co_return RestoreResult{.outcome = {.end = FlowEnd::stopped}};
  }
  const auto restoring = context_.gate.start(restore(std::move(review)));
  auto result = restoring.value();
  co_return co_await result;
}

Task<RestoreResult> PhotosCheckFlow::restore(DeviceLibraryReview review) {
  runs_.begin(review.device, review.setAside);
  auto importing = context_.gate.attempt(importMissing(std::move(review)), "Restoration stopped");
  RestoreResult result;
  result.outcome = co_await importing;
  runs_.end(result.outcome.end);
  result.run = fields_.cameraRuns->back();
  auto historyCount = model_.refreshPhotoHistoryCount();
  co_await historyCount;
  co_return result;
}

Task<> PhotosCheckFlow::importMissing(DeviceLibraryReview review) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto restoring = background([coordinator = runs_.coordinator(review.device, token), review,
                               album = model_.settings().albumForSync()](const CancellationToken& stop) {
    const bool isCharmera = review.device.profile.kind == DeviceProfile::Kind::charmera;
    return coordinator.restore(review.review, isCharmera, album, stop);
  });
  const SyncResult result = co_await restoring;
  if (!result.imported.empty()) {
    runs_.saveReceipt(review.device, result.imported);
  }
  fields_.statusMessage = items(result.imported.size(), "missing item") + " imported";
}

}  // namespace tolvander::app
