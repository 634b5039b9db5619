#include "TolvanderApp/Model/StatusPresentation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"

namespace tolvander::app {
namespace {

using namespace std::chrono_literals;
using tests::anyMediaFile;
using tests::emptyReview;
using tests::resultOnShow;
using tests::syncReceipt;
using Count = std::optional<std::int64_t>;
using Text = std::optional<std::string>;

constexpr auto attention = "exclamationmark.circle.fill";
constexpr auto done = "checkmark.circle";
constexpr auto readyDetail = "Check for new items, or reconnect your camera.";
constexpr auto duplicateHelp =
    "Matched by filename, capture time and dimensions, plus duration for videos. Camera originals were kept.";

const Date checkedAt{std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 12h};
const Date completedAt = checkedAt + 1h;
const FileURL charmera("/media/CHARMERA");
const FileURL card("/media/CARD");

// Setup is complete and a saved camera is connected. Nothing was checked yet, and nothing runs.
StatusState connected() {
  StatusState state;
  state.onboardingCompleted = true;
  state.photosPermissionStatus = PhotosPermissionStatus::authorized;
  state.hasAuthorizedProfiles = true;
  state.hasAvailableRemovableVolumes = true;
  state.connectedDevices = {{.volumeURL = charmera, .displayName = "CHARMERA", .isCharmera = true},
                            {.volumeURL = card, .displayName = "CARD", .isCharmera = false}};
  state.statusMessage = "Reading camera files…";
  return state;
}

StatusState with(StatusState state, const std::function<void(StatusState&)>& change) {
  change(state);
  return state;
}

StatusState showing(const std::string& result, std::int64_t skipped = 0) {
  return with(connected(), [&](StatusState& state) {
    state.statusMessage = result;
    state.statusReceipt = resultOnShow(result, completedAt, StatusReceipt::whileMounted);
    state.statusReceipt->metadataSkippedCount = skipped;
  });
}

StatusState checked(StatusState state) {
  state.cameraCheckReceipts[charmera] = syncReceipt("CHARMERA", 0, 0, checkedAt);
  return state;
}

void withoutPhotosAccess(StatusState& state) {
  state.photosPermissionStatus = PhotosPermissionStatus::denied;
}
void withDeniedVolume(StatusState& state) { state.hasRemovableVolumeAccessIssue = true; }
void withoutProfiles(StatusState& state) { state.hasAuthorizedProfiles = false; }
void withError(StatusState& state) { state.hasError = true; }
void withIncompleteReview(StatusState& state) { state.photoReviewIsIncomplete = true; }
void whileSyncing(StatusState& state) { state.isSyncing = true; }
void whileEjecting(StatusState& state) { state.isEjecting = true; }
void withOtherMessage(StatusState& state) { state.statusMessage = "Matches saved"; }

// What stops a result from being shown as one.
struct Obstacle {
  const char* name;
  void (*add)(StatusState&);
};
constexpr Obstacle obstacles[] = {
    {"an error", withError}, {"a sync", whileSyncing}, {"an eject", whileEjecting}};

StatusPresentation shown(const StatusState& state) { return StatusPresentation::of(state); }

Text cameraOfReceipt(const StatusState& state) {
  const auto receipt = connectedCameraReceipt(state);
  return receipt ? std::optional(receipt->deviceName) : std::nullopt;
}

// MARK: The idle status

// Each row adds a condition that goes before those of the rows above it.
TEST(StatusPresentation, idleStatusIsThatOfTheFirstConditionThatHolds) {
  struct Row {
    std::function<void(StatusState&)> add;
    const char* idleStatus;
  };
  StatusState state = checked(connected());
  for (const Row& row : {
           Row{[](StatusState&) {}, "Camera up to date"},
           Row{[](StatusState& now) { now.cameraCheckReceipts.clear(); }, "Ready to import"},
           Row{[](StatusState& now) { now.connectedDevices.clear(); }, "Waiting for connection"},
           Row{withIncompleteReview, "Camera check incomplete"},
           Row{withError, "Sync needs attention"},
           Row{[](StatusState& now) { now.offersPhotoReview = true; }, "Camera check incomplete"},
           Row{withoutProfiles, "Connect your Charmera"},
           Row{[](StatusState& now) { now.hasAvailableRemovableVolumes = false; }, "Waiting for connection"},
           Row{withDeniedVolume, "Camera access needed"},
           Row{withoutPhotosAccess, "Photos access needed"},
       }) {
    row.add(state);
    EXPECT_EQ(shown(state).idleStatus, row.idleStatus);
  }
}

TEST(StatusPresentation, idleStatusNeedsFullPhotosAccess) {
  for (const auto status : {PhotosPermissionStatus::notDetermined, PhotosPermissionStatus::restricted,
                            PhotosPermissionStatus::denied, PhotosPermissionStatus::limited}) {
    StatusState state = connected();
    state.photosPermissionStatus = status;
    EXPECT_EQ(shown(state).idleStatus, "Photos access needed");
  }
}

TEST(StatusPresentation, idleStatusIsAboutTheFirstCamera) {
  StatusState state = connected();
  state.cameraCheckReceipts[card] = syncReceipt("CARD", 1, 0, checkedAt);
  EXPECT_EQ(cameraOfReceipt(state), std::nullopt);
  EXPECT_EQ(shown(state).idleStatus, "Ready to import");
  state = checked(state);
  EXPECT_EQ(cameraOfReceipt(state), "CHARMERA");
  state.connectedDevices.clear();
  EXPECT_EQ(cameraOfReceipt(state), std::nullopt);
}

TEST(StatusPresentation, receiptOfACameraIsFoundUnderItsStandardizedURL) {
  StatusState state = checked(connected());
  state.connectedDevices.front().volumeURL = FileURL("/media/CARD/../CHARMERA/");
  EXPECT_EQ(cameraOfReceipt(state), "CHARMERA");
}

TEST(StatusPresentation, restingStatusIsTheResultOrElseTheFallback) {
  EXPECT_EQ(restingStatus(connected(), "Waiting for connection"), "Waiting for connection");
  EXPECT_EQ(restingStatus(with(showing("1 photo synced"), withOtherMessage), "Waiting for connection"),
            "1 photo synced");
}

TEST(StatusPresentation, reviewIsIncompleteWithAnUncheckedOrUncertainFile) {
  auto found = emptyReview(charmera);
  found.review.newFiles.push_back(anyMediaFile(charmera));
  auto unchecked = emptyReview(card);
  unchecked.review.unchecked.push_back(anyMediaFile(card));
  auto uncertain = emptyReview(card);
  uncertain.review.uncertain.push_back(anyMediaFile(card));
  EXPECT_FALSE(isIncomplete({}));
  EXPECT_FALSE(isIncomplete({found}));
  EXPECT_TRUE(isIncomplete({found, unchecked}));
  EXPECT_TRUE(isIncomplete({uncertain, found}));
}

// MARK: What a sync brought

TEST(StatusPresentation, syncStatusCountsPhotosAndVideos) {
  struct Row {
    std::int64_t count;
    Count videos;
    bool ejected;
    const char* text;
  };
  for (const Row& row : {
           Row{0, 0, false, "Camera up to date"},
           Row{0, 0, true, "Checked & ejected"},
           Row{0, 2, true, "Checked & ejected"},
           Row{1, 0, false, "1 photo synced"},
           Row{2, std::nullopt, false, "2 photos synced"},
           Row{3, 5, false, "3 videos synced"},
           Row{3, -1, false, "3 photos synced"},
           Row{3, 1, true, "2 photos and 1 video synced & ejected"},
           Row{1, 1, true, "1 video synced & ejected"},
           Row{-2, 0, false, "0 items synced"},
       }) {
    EXPECT_EQ(syncStatus(syncReceipt("CHARMERA", row.count, row.videos), row.ejected), row.text);
  }
}

TEST(StatusPresentation, collectedLabelCountsWhatWasRead) {
  struct Row {
    Count photos;
    Count videos;
    Text label;
  };
  for (const Row& row : {
           Row{std::nullopt, std::nullopt, std::nullopt},
           Row{1, std::nullopt, std::nullopt},
           Row{std::nullopt, 1, std::nullopt},
           Row{0, 0, std::nullopt},
           Row{-2, 1, std::nullopt},
           Row{1, 0, "1 photo collected"},
           Row{0, 1, "1 video collected"},
           Row{12, 3, "12 photos and 3 videos collected"},
           Row{-1, 3, "2 videos collected"},
           Row{3, -1, "2 photos collected"},
       }) {
    StatusState state = connected();
    state.collectedPhotoCount = row.photos;
    state.collectedVideoCount = row.videos;
    EXPECT_EQ(shown(state).collectedLabel, row.label);
  }
}

// MARK: The lines below the status line

TEST(StatusPresentation, detailNamesTheCheckedCameraAndCountsSkippedFiles) {
  struct Row {
    StatusState state;
    Text detail;
  };
  for (const Row& row : {
           Row{connected(), std::nullopt},
           Row{checked(showing("Ready to import", 2)), readyDetail},
           Row{with(showing("Ready to import"), withError), readyDetail},
           Row{showing("Camera up to date"), std::nullopt},
           Row{checked(showing("Camera up to date")), "CHARMERA"},
           Row{checked(showing("Camera up to date", 3)), "CHARMERA · 3 likely duplicates skipped"},
           Row{with(checked(showing("Camera up to date", 3)), whileSyncing), "CHARMERA"},
           Row{checked(showing("1 photo synced")), std::nullopt},
           Row{checked(showing("1 photo synced", 1)), "1 likely duplicate skipped"},
           Row{showing("1 photo synced", 2), "2 likely duplicates skipped"},
           Row{showing("1 photo synced", 0), std::nullopt},
           Row{showing("1 photo synced", -1), std::nullopt},
           Row{with(showing("1 photo synced", 1), withOtherMessage), std::nullopt},
       }) {
    EXPECT_EQ(shown(row.state).detail, row.detail) << row.state.statusMessage;
  }
}

TEST(StatusPresentation, helpExplainsTheSkippedFilesOfTheShownResult) {
  EXPECT_EQ(shown(connected()).detailHelp, std::nullopt);
  EXPECT_EQ(shown(showing("1 photo synced")).detailHelp, std::nullopt);
  EXPECT_EQ(shown(showing("1 photo synced", 1)).detailHelp, duplicateHelp);
  EXPECT_EQ(shown(with(showing("1 photo synced", 1), withOtherMessage)).detailHelp, std::nullopt);
}

TEST(StatusPresentation, dateIsThatOfTheShownResultOrOfTheCheck) {
  struct Row {
    StatusState state;
    std::optional<Date> date;
  };
  for (const Row& row : {
           Row{connected(), std::nullopt},
           Row{showing("1 photo synced"), completedAt},
           Row{checked(showing("1 photo synced")), completedAt},
           Row{with(showing("1 photo synced"), withOtherMessage), std::nullopt},
           Row{checked(showing("Camera up to date")), checkedAt},
           Row{showing("Camera up to date"), std::nullopt},
       }) {
    EXPECT_EQ(shown(row.state).date, row.date) << row.state.statusMessage;
  }
}

TEST(StatusPresentation, resultIsHiddenByAnErrorAndByWork) {
  ASSERT_TRUE(shown(showing("1 photo synced", 1)).showsReceipt);
  EXPECT_FALSE(shown(connected()).showsReceipt);
  EXPECT_FALSE(shown(with(showing("1 photo synced", 1), withOtherMessage)).showsReceipt);
  for (const Obstacle& obstacle : obstacles) {
    const StatusPresentation presentation = shown(with(showing("1 photo synced", 1), obstacle.add));
    EXPECT_FALSE(presentation.showsReceipt) << obstacle.name;
    EXPECT_EQ(presentation.detail, std::nullopt) << obstacle.name;
    EXPECT_EQ(presentation.detailHelp, std::nullopt) << obstacle.name;
    EXPECT_EQ(presentation.date, std::nullopt) << obstacle.name;
    EXPECT_EQ(shown(with(checked(showing("Camera up to date")), obstacle.add)).date, std::nullopt)
        << obstacle.name;
  }
}

// MARK: Symbol and badges

// Each row adds a condition that goes before those of the rows above it.
TEST(StatusPresentation, symbolIsThatOfTheFirstConditionThatHolds) {
  EXPECT_EQ(shown(connected()).symbol, std::nullopt);
  EXPECT_EQ(shown(showing("1 photo synced")).symbol, done);
  StatusState state = connected();
  state.hasCompletedLibraryReview = true;
  EXPECT_EQ(shown(state).symbol, done);
  withIncompleteReview(state);
  EXPECT_EQ(shown(state).symbol, attention);
  EXPECT_EQ(shown(with(state, whileEjecting)).symbol, std::nullopt);
  EXPECT_EQ(shown(with(state, whileSyncing)).symbol, std::nullopt);
  whileSyncing(state);
  withError(state);
  EXPECT_EQ(shown(state).symbol, attention);
}

TEST(StatusPresentation, attentionBadgeIsShownForEachReasonAlone) {
  EXPECT_FALSE(shown(connected()).showsAttentionBadge);
  for (auto* const reason :
       {withoutPhotosAccess, withoutProfiles, withError, withIncompleteReview, withDeniedVolume}) {
    EXPECT_TRUE(shown(with(connected(), reason)).showsAttentionBadge);
  }
}

TEST(StatusPresentation, attentionBadgeIsShownDuringSetupOnlyWhenSetupNeedsAttention) {
  StatusState state = with(connected(), withError);
  state.onboardingCompleted = false;
  EXPECT_FALSE(shown(state).showsAttentionBadge);
  state.onboardingNeedsAttention = true;
  EXPECT_TRUE(shown(state).showsAttentionBadge);
  state = connected();
  state.onboardingNeedsAttention = true;
  EXPECT_FALSE(shown(state).showsAttentionBadge);
}

TEST(StatusPresentation, checkmarkNeedsAResultWithoutErrorAndACameraOrAnEject) {
  const auto withoutCamera = [](StatusState& state) { state.connectedDevices.clear(); };
  const StatusState result = showing("1 photo synced");
  struct Row {
    const char* name;
    StatusState state;
    std::optional<std::chrono::duration<double>> clearAfter;
    CompletionPresentation completion;
  };
  for (const Row& row : {
           Row{"a result", result, std::nullopt, {true, 120s}},
           Row{"after an eject", result, 300s, {true, 300s}},
           Row{"a shorter time", result, 60s, {true, 120s}},
           Row{"no camera", with(result, withoutCamera), std::nullopt, {}},
           Row{"no camera after an eject", with(result, withoutCamera), 300s, {true, 300s}},
           Row{"an error", with(result, withError), std::nullopt, {}},
           Row{"an error after an eject", with(result, withError), 300s, {}},
           Row{"no result", connected(), std::nullopt, {}},
           Row{"no result after an eject", connected(), 300s, {}},
       }) {
    EXPECT_EQ(completionPresentation(row.state, row.clearAfter), row.completion) << row.name;
  }
}

}  // namespace
}  // namespace tolvander::app
