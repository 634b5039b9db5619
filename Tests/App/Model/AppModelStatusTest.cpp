#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::AppModel;
using app::PhotoLibraryError;
using app::PhotosAuthorizationStatus;
using app::PhotosPermissionStatus;
using app::RemovableVolumeAccessIssue;
using app::StatusReceipt;
using Lines = std::vector<std::string>;
using Text = std::optional<std::string>;

constexpr std::string_view attention = "exclamationmark.circle.fill";
constexpr std::string_view done = "checkmark.circle";

static_assert(!std::is_assignable_v<decltype(AppModel::isSyncing)&, bool>, "only the model assigns");

// A saved and plugged in Charmera and a card, both without files, after setup.
class AppModelStatus : public testing::Test {
 protected:
  AppModelStatus() {
    world.mount(camera);
    world.mount(card);
    world.remember(camera);
    world.remember(card);
    world.launchAfterSetup();
  }

  AppModel& model() { return world.model(); }
  std::string status() { return model().statusMessage; }
  Date now() { return world.mainThread.wallNow(); }

  void check(const AppModelWorld::Camera& which, std::int64_t count = 0) {
    update(model().cameraCheckReceipts,
           [&](auto& receipts) { receipts[which.url] = syncReceipt(which.name, count, 0, now()); });
  }

  // A result that a flow has just shown.
  void show(const std::string& message, std::chrono::duration<double> atLeast = StatusReceipt::whileMounted) {
    assign(model().statusMessage, message);
    assign(model().statusReceipt, resultOnShow(message, now(), atLeast));
    assign(model().showsCompletionCheckmark, true);
    model().setStatusMenuOpen(false);  // begins its time
  }

  void skip(int count) {
    StatusReceipt receipt = *model().statusReceipt.value();
    receipt.metadataSkippedCount = count;
    assign(model().statusReceipt, receipt);
  }

  void replaceResult(std::chrono::duration<double> atLeast) {
    assign(model().statusReceipt, resultOnShow(status(), now(), atLeast));
  }

  // Syncs, and does something when the result is on show and the badge is not.
  void beforeTheBadgeOfASync(std::function<void()> act) {
    world.addPhoto(camera, "PICT0001.JPG", 1);
    world.unmount(card);
    world.runUntilIdle();
    world.notifications.beforeStatus = [&, act = std::move(act)] {
      const auto& result = model().statusReceipt.value();
      if (result && result->message.find("synced") != std::string::npos) {
        world.notifications.beforeStatus = nullptr;
        act();
      }
    };
    model().checkNow();
    world.runUntilIdle();
    EXPECT_FALSE(bool(world.notifications.beforeStatus)) << "it was asked";
  }

  std::optional<std::chrono::nanoseconds> untilNextTimer() {
    world.runUntilIdle();
    return world.mainThread.untilNextTimer();
  }

  // A failure as any flow meets it.
  void fail(const std::exception_ptr& failure) {
    world.volumes.failures.push_back(failure);
    model().refreshMountedVolumes();
    world.runUntilIdle();
  }

  void leaveUncertain() {
    auto review = emptyReview(camera.url);
    review.review.uncertain.push_back(anyMediaFile(camera.url));
    assign(model().libraryReviews, std::vector{review});
  }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  AppModelWorld::Camera card = world.makeCard("CARD");
};

// MARK: The status at rest

// Each rule is made to hold after those that come later, so that the order counts.
TEST_F(AppModelStatus, atRestFollowsTheFirstRuleThatHolds) {
  check(camera);
  EXPECT_EQ(model().idleStatus(), "Camera up to date");
  assign(model().cameraCheckReceipts, {});
  EXPECT_EQ(model().idleStatus(), "Ready to import");
  assign(model().connectedDevices, {});
  EXPECT_EQ(model().idleStatus(), "Waiting for connection");
  leaveUncertain();
  EXPECT_EQ(model().idleStatus(), "Camera check incomplete");
  assign(model().lastError, "It broke.");
  EXPECT_EQ(model().idleStatus(), "Sync needs attention");
  assign(model().offersPhotoReview, true);
  EXPECT_EQ(model().idleStatus(), "Camera check incomplete");
  assign(model().availableRemovableVolumes, {});
  for (const auto& grant : std::vector(world.settings().cameraGrants())) {
    world.settings().removeProfile(grant.id);
  }
  EXPECT_EQ(model().idleStatus(), "Waiting for connection");
  assign(model().availableRemovableVolumes,
         std::vector{app::RemovableVolumeSummary{.volumeURL = camera.url, .displayName = "CHARMERA"}});
  EXPECT_EQ(model().idleStatus(), "Connect your Charmera");
  assign(model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CARD"});
  EXPECT_EQ(model().idleStatus(), "Camera access needed");
  for (const auto lost : {PhotosPermissionStatus::limited, PhotosPermissionStatus::notDetermined,
                          PhotosPermissionStatus::denied, PhotosPermissionStatus::restricted}) {
    assign(model().photosPermissionStatus, lost);
    EXPECT_EQ(model().idleStatus(), "Photos access needed");
  }
}

TEST_F(AppModelStatus, atRestReadsReadyToImportWhenOnlyTheSecondCameraHasAReceipt) {
  ASSERT_EQ(model().connectedDevices->size(), 2U);
  check(card);
  EXPECT_EQ(model().connectedCameraReceipt(), std::nullopt);
  EXPECT_EQ(model().idleStatus(), "Ready to import");
  check(camera);
  EXPECT_EQ(model().connectedCameraReceipt()->deviceName, "CHARMERA");
  assign(model().connectedDevices, {});
  EXPECT_EQ(model().connectedCameraReceipt(), std::nullopt);
}

TEST_F(AppModelStatus, ofAReceiptComesBeforeTheFallback) {
  EXPECT_EQ(model().restingStatus("Waiting for connection"), "Waiting for connection");
  show("1 photo synced");
  EXPECT_EQ(model().restingStatus("Waiting for connection"), "1 photo synced");
}

TEST_F(AppModelStatus, knowsAnIncompleteReview) {
  EXPECT_FALSE(model().photoReviewIsIncomplete());
  auto review = emptyReview(camera.url);
  review.review.newFiles.push_back(anyMediaFile(camera.url));
  assign(model().libraryReviews, std::vector{review});
  EXPECT_FALSE(model().photoReviewIsIncomplete());
  auto unchecked = emptyReview(card.url);
  unchecked.review.unchecked.push_back(anyMediaFile(card.url));
  assign(model().libraryReviews, std::vector{review, unchecked});
  EXPECT_TRUE(model().photoReviewIsIncomplete());
  leaveUncertain();
  EXPECT_TRUE(model().photoReviewIsIncomplete());
}

// MARK: What a sync came to

TEST(AppModelSyncStatus, countsPhotosAndVideos) {
  struct Row {
    std::int64_t count;
    std::optional<std::int64_t> videos;
    bool ejected;
    const char* text;
  };
  for (const Row& row : {
           Row{0, 0, false, "Camera up to date"},
           Row{0, 0, true, "Checked & ejected"},
           Row{0, 2, true, "Checked & ejected"},
           Row{1, 0, false, "1 photo synced"},
           Row{2, std::nullopt, false, "2 photos synced"},
           Row{3, 5, false, "3 videos synced"},  // of which `videoCount` is 5: 3 videos, 0 photos
           Row{3, -1, false, "3 photos synced"},
           Row{3, 1, true, "2 photos and 1 video synced & ejected"},
           Row{1, 1, true, "1 video synced & ejected"},
           Row{-2, 0, false, "0 items synced"},
       }) {
    EXPECT_EQ(AppModel::syncStatus(syncReceipt("CHARMERA", row.count, row.videos), row.ejected), row.text);
  }
}

// MARK: How long a result stays

TEST_F(AppModelStatus, resultStaysFor120SecondsAndGivesWayToTheIdleStatus) {
  show("1 photo synced");
  world.advance(120s - 1ns);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_TRUE(model().showsCompletionCheckmark);
  world.advance(1ns);
  EXPECT_EQ(status(), "Ready to import");
  EXPECT_EQ(*model().statusReceipt, std::nullopt);
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(untilNextTimer(), std::nullopt);
}

TEST_F(AppModelStatus, resultOfAnEjectStaysFor300Seconds) {
  show("Ejected CHARMERA", StatusReceipt::afterEject);
  world.advance(300s - 1ns);
  EXPECT_EQ(status(), "Ejected CHARMERA");
  world.advance(1ns);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, resultOf120SecondsWithTheMenuOpenedAt119StaysUntilTheCloseAt200) {
  show("1 photo synced");
  world.advance(119s);
  model().setStatusMenuOpen(true);
  EXPECT_EQ(untilNextTimer(), std::nullopt);  // no timer while anyone looks
  world.advance(81s);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_TRUE(model().showsCompletionCheckmark);
  model().setStatusMenuOpen(false);
  EXPECT_EQ(status(), "Ready to import");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelStatus, resultWithTheSettingsWindowOpenStaysUntilTheClose) {
  show("1 photo synced");
  model().setSettingsWindowOpen(true);
  world.advance(500s);
  EXPECT_EQ(status(), "1 photo synced");
  model().setSettingsWindowOpen(false);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, resultStaysUntilWindowAndMenuAreBothClosed) {
  show("1 photo synced");
  model().setSettingsWindowOpen(true);
  model().setStatusMenuOpen(true);
  world.advance(500s);
  model().setStatusMenuOpen(false);
  EXPECT_EQ(status(), "1 photo synced");
  model().setSettingsWindowOpen(false);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, resultLivesOnFromAnEarlyClose) {
  show("1 photo synced");
  world.advance(50s);
  model().setStatusMenuOpen(true);
  world.advance(50s);
  model().setStatusMenuOpen(false);
  EXPECT_EQ(untilNextTimer(), 20s);
  world.advance(20s - 1ns);
  EXPECT_EQ(status(), "1 photo synced");
  world.advance(1ns);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, resultGoesButAMessageThatReplacedItStays) {
  show("1 photo synced");
  assign(model().statusMessage, "Matches saved");
  world.advance(120s);
  EXPECT_EQ(*model().statusReceipt, std::nullopt);
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(status(), "Matches saved");
}

TEST_F(AppModelStatus, resultGoesWhenWorkBegins) {
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    show("1 photo synced");
    assign(*work, true);
    EXPECT_EQ(*model().statusReceipt, std::nullopt);
    EXPECT_FALSE(model().showsCompletionCheckmark);
    EXPECT_EQ(status(), "1 photo synced");  // the work writes its own
    EXPECT_EQ(untilNextTimer(), std::nullopt);
    assign(*work, false);
  }
}

TEST_F(AppModelStatus, resultThatCameDuringWorkIsTimedFromTheWorksEnd) {
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    show("1 photo synced");
    assign(*work, true);  // no new work
    EXPECT_NE(*model().statusReceipt, std::nullopt);
    world.advance(100s);
    EXPECT_EQ(untilNextTimer(), std::nullopt);
    assign(*work, false);
    EXPECT_EQ(untilNextTimer(), 20s);
    world.advance(20s);
    EXPECT_EQ(status(), "Ready to import");
  }
}

TEST_F(AppModelStatus, resultThatCameDueDuringWorkGoesAtItsEnd) {
  assign(model().isSyncing, true);
  show("1 photo synced");
  world.advance(120s);
  EXPECT_EQ(status(), "1 photo synced");
  assign(model().isSyncing, false);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, resultGoesWithAFailure) {
  show("1 photo synced");
  assign(model().lastError, "It broke.");
  EXPECT_EQ(*model().statusReceipt, std::nullopt);
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(untilNextTimer(), std::nullopt);
}

TEST_F(AppModelStatus, resultStaysWhenAFailureIsCleared) {
  show("1 photo synced");
  assign(model().lastError, std::nullopt);
  EXPECT_NE(*model().statusReceipt, std::nullopt);
}

TEST_F(AppModelStatus, laterResultIsNotEndedByTheTimeOfTheFormer) {
  show("1 photo synced");
  world.advance(100s);
  show("1 photo synced");
  world.advance(20s);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_EQ(untilNextTimer(), 100s);
  world.advance(100s);
  EXPECT_EQ(status(), "Ready to import");
}

// The former timer has rung, and finds another result in its place.
TEST_F(AppModelStatus, replacedResultIsLeftAloneByTheTimerThatWakes) {
  show("1 photo synced");
  world.advance(120s - 1ns);
  assign(model().statusReceipt, resultOnShow("1 photo synced", now() - 500s, StatusReceipt::whileMounted));
  world.advance(1ns);
  EXPECT_NE(*model().statusReceipt, std::nullopt);
  EXPECT_EQ(status(), "1 photo synced");
}

TEST_F(AppModelStatus, resultWaitsOnWhenTheWallClockWasPutBack) {
  show("1 photo synced");
  world.mainThread.setWallClock(now() - 60s);
  world.advance(120s);
  EXPECT_EQ(status(), "1 photo synced");
  world.advance(60s);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, receiptIsRaisedFrom120To300SecondsByTheCompletionIndicatorOfAnEject) {
  world.settings().setAutoEjectAfterSync(true);
  world.addPhoto(camera, "PICT0001.JPG", 1);
  show("before");
  model().ejectDevice({.volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true});
  world.runUntilIdle();
  EXPECT_TRUE(model().showsCompletionCheckmark);  // it had one
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, 300s);
}

// Another result in the place of the sync's own, when that is about to get its badge.
TEST_F(AppModelStatus, shorterResultIsRaisedTo300SecondsByTheBadgeOfASyncThatEjected) {
  world.settings().setAutoEjectAfterSync(true);
  world.ejector.eject = [&](const FileURL&) { world.mainThread.call([&] { world.unmount(camera); }); };
  beforeTheBadgeOfASync([&] { replaceResult(120s); });
  EXPECT_TRUE(model().showsCompletionCheckmark);
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, 300s);
}

TEST_F(AppModelStatus, longerResultIsNotShortenedByTheBadgeOfASyncThatEjected) {
  world.settings().setAutoEjectAfterSync(true);
  world.ejector.eject = [&](const FileURL&) { world.mainThread.call([&] { world.unmount(camera); }); };
  beforeTheBadgeOfASync([&] { replaceResult(500s); });
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, 500s);
}

TEST_F(AppModelStatus, badgeIsNotShownWithAFailure) {
  show("before");
  world.ejector.eject = [&](const FileURL&) {
    world.mainThread.call([&] {
      assign(model().lastError, "It broke.");
      replaceResult(120s);  // which no flow does
    });
  };
  model().ejectDevice({.volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true});
  world.runUntilIdle();
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelStatus, badgeIsNotShownWithoutAResult) {
  beforeTheBadgeOfASync([&] {
    assign(model().statusReceipt, std::nullopt);
    assign(model().showsCompletionCheckmark, true);
  });
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelStatus, badgeIsNotShownWithoutACamera) {
  beforeTheBadgeOfASync([&] {
    assign(model().connectedDevices, {});
    assign(model().showsCompletionCheckmark, true);
  });
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_TRUE(model().statusReceipt->has_value());
}

TEST_F(AppModelStatus, badgeOfASyncStaysWithTheCamera) {
  world.addPhoto(camera, "PICT0001.JPG", 1);
  model().checkNow();
  world.runUntilIdle();
  EXPECT_TRUE(model().showsCompletionCheckmark);
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, 120s);
}

// MARK: Failures

TEST_F(AppModelStatus, ofAFailureSaysWhetherACheckCanSettleIt) {
  struct Row {
    std::exception_ptr failure;
    bool offersPhotoReview;
  };
  using History = SyncHistoryError;
  for (const Row& row : {
           Row{std::make_exception_ptr(RecognitionError(RecognitionError::Case::budgetExceeded)), true},
           Row{std::make_exception_ptr(RecognitionError(RecognitionError::Case::resourceUnavailable)), true},
           Row{std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::inconsistentChangeResult)),
               true},
           Row{std::make_exception_ptr(History(History::Case::unresolvedImport)), true},
           Row{std::make_exception_ptr(History(History::Case::unreadableHistory)), false},
           Row{std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::changeFailed)), false},
           Row{std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::albumCouldNotBeCreated)),
               false},
           Row{std::make_exception_ptr(CocoaError(CocoaError::Code::fileReadUnknown)), false},
       }) {
    assign(model().lastError, std::nullopt);
    show("1 photo synced");
    fail(row.failure);
    EXPECT_TRUE(model().lastError->has_value());
    EXPECT_EQ(model().offersPhotoReview, row.offersPhotoReview) << **model().lastError;
    EXPECT_EQ(status(), row.offersPhotoReview ? "Camera check incomplete" : "Sync needs attention");
    EXPECT_EQ(*model().statusReceipt, std::nullopt);
    EXPECT_TRUE(world.settings().onboardingCompleted());
  }
  EXPECT_EQ(world.logLines("operationFailed").size(), 8U);
}

TEST_F(AppModelStatus, ofAFailureIsItsDescription) {
  fail(std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::changeFailed)));
  EXPECT_EQ(*model().lastError, "Photos could not complete the requested change.");
}

TEST_F(AppModelStatus, ofAReviewOfferIsClearedByEachNewFailure) {
  fail(std::make_exception_ptr(RecognitionError(RecognitionError::Case::budgetExceeded)));
  ASSERT_TRUE(model().offersPhotoReview);
  assign(model().lastError, std::nullopt);
  EXPECT_FALSE(model().offersPhotoReview);  // with `lastError` absent it does not occur
  assign(model().offersPhotoReview, true);
  assign(model().lastError, "Another.");
  EXPECT_FALSE(model().offersPhotoReview);
}

TEST_F(AppModelStatus, isNotTouchedByACancellation) {
  show("1 photo synced");
  const auto lines = world.logLines();
  fail(std::make_exception_ptr(CancellationError()));
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_NE(*model().statusReceipt, std::nullopt);
  EXPECT_EQ(world.logLines(), lines);
}

TEST_F(AppModelStatus, ofADeniedVolumeNamesItAndSuspendsSetup) {
  fail(std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD")));
  EXPECT_EQ(*model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CARD"});
  EXPECT_EQ(status(), "Camera access needed");
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_FALSE(world.settings().onboardingCompleted());
}

TEST_F(AppModelStatus, ofADeniedVolumeThatHasNoNameGoesByItsPath) {
  const auto drive = world.makeCard("DRIVE");
  world.volumes.mount(drive.url, FakeVolumes::card());
  fail(std::make_exception_ptr(MediaSourceError::volumeAccessDenied("DRIVE")));
  EXPECT_EQ(*model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "DRIVE"});
}

TEST_F(AppModelStatus, isLeftByADeniedVolumeThatIsGone) {
  world.takeStatuses();
  fail(std::make_exception_ptr(MediaSourceError::volumeAccessDenied("GONE")));
  EXPECT_EQ(*model().removableVolumeAccessIssue, std::nullopt);
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(world.takeStatuses(), Lines());
  EXPECT_TRUE(world.settings().onboardingCompleted());
}

TEST_F(AppModelStatus, ofADeniedVolumeThatNobodyCanLookForIsAFailure) {
  world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD")),
                            std::make_exception_ptr(PosixError(EMFILE, "read", FileURL("/proc")))};
  model().refreshMountedVolumes();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(status(), "Sync needs attention");
  EXPECT_TRUE(world.settings().onboardingCompleted());
}

TEST_F(AppModelStatus, ofAFailureTellsOfLostPhotosAccess) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::limited});
  fail(std::make_exception_ptr(CocoaError(CocoaError::Code::fileReadUnknown)));
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(status(), "Sync needs attention");
}

TEST_F(AppModelStatus, ofDeniedPhotosAccessSuspendsSetupAndReadsThePermissions) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  fail(std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::accessDenied)));
  EXPECT_EQ(*model().lastError, "Photos access was not granted.");
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(status(), "Photos access needed");
}

TEST_F(AppModelStatus, ofPhotosAccessThatWasDeniedForAMomentIsClearedAgain) {
  fail(std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::accessDenied)));
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(status(), "Waiting for connection");
}

// MARK: Badge

TEST_F(AppModelStatus, asksForAttentionForEachReasonByItself) {
  EXPECT_FALSE(model().showsAttentionBadge());
  assign(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  EXPECT_TRUE(model().showsAttentionBadge());
  assign(model().photosPermissionStatus, PhotosPermissionStatus::authorized);
  assign(model().lastError, "It broke.");
  EXPECT_TRUE(model().showsAttentionBadge());
  assign(model().lastError, std::nullopt);
  leaveUncertain();
  EXPECT_TRUE(model().showsAttentionBadge());
  assign(model().libraryReviews, {});
  assign(model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CARD"});
  EXPECT_TRUE(model().showsAttentionBadge());
  assign(model().removableVolumeAccessIssue, std::nullopt);
  EXPECT_FALSE(model().showsAttentionBadge());
  for (const auto& grant : std::vector(world.settings().cameraGrants())) {
    world.settings().removeProfile(grant.id);
  }
  EXPECT_TRUE(model().showsAttentionBadge());
}

TEST_F(AppModelStatus, asksForAttentionDuringSetupOnlyWhenSetupDoes) {
  world.settings().setOnboardingCompleted(false);
  assign(model().lastError, "It broke.");
  EXPECT_FALSE(model().showsAttentionBadge());
  world.settings().setOnboardingNeedsAttention(true);
  EXPECT_TRUE(model().showsAttentionBadge());
}

// MARK: Counts and details

TEST_F(AppModelStatus, labelsWhatWasCollected) {
  struct Row {
    std::optional<std::int64_t> photos;
    std::optional<std::int64_t> videos;
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
    assign(model().collectedPhotoCount, row.photos);
    assign(model().collectedVideoCount, row.videos);
    EXPECT_EQ(model().collectedPhotosLabel(), row.label);
  }
}

TEST_F(AppModelStatus, detailOfReadyToImportIsNothingElse) {
  show("Ready to import");
  skip(2);
  check(camera);
  EXPECT_EQ(model().settingsStatusDetail(), "Check for new items, or reconnect your camera.");
}

TEST_F(AppModelStatus, detailNamesTheCameraThatIsUpToDate) {
  assign(model().statusMessage, "Camera up to date");
  EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
  check(camera);
  EXPECT_EQ(model().settingsStatusDetail(), "CHARMERA");
  assign(model().statusMessage, "1 photo synced");
  EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
}

TEST_F(AppModelStatus, detailCountsOneSkippedFileAndTwo) {
  show("1 photo synced");
  EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
  skip(1);
  EXPECT_EQ(model().settingsStatusDetail(), "1 likely duplicate skipped");
  skip(2);
  EXPECT_EQ(model().settingsStatusDetail(), "2 likely duplicates skipped");
  skip(-1);
  EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
}

TEST_F(AppModelStatus, detailJoinsCameraAndSkippedFiles) {
  check(camera);
  show("Camera up to date");
  skip(3);
  EXPECT_EQ(model().settingsStatusDetail(), "CHARMERA · 3 likely duplicates skipped");
}

TEST_F(AppModelStatus, detailAndHelpOfSkippedFilesBelongToTheMessageOnShow) {
  show("1 photo synced");
  skip(1);
  EXPECT_EQ(model().settingsStatusDetailHelp(),
            "Matched by filename, capture time and dimensions, plus duration for videos. Camera originals "
            "were kept.");
  assign(model().statusMessage, "Matches saved");
  EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
  EXPECT_EQ(model().settingsStatusDetailHelp(), std::nullopt);

  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    show("1 photo synced");
    skip(1);
    EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
    EXPECT_EQ(model().settingsStatusDetailHelp(), std::nullopt);
    assign(*work, false);
    EXPECT_EQ(model().settingsStatusDetail(), "1 likely duplicate skipped");
    EXPECT_NE(model().settingsStatusDetailHelp(), std::nullopt);
  }

  const StatusReceipt receipt = *model().statusReceipt.value();
  assign(model().lastError, "It broke.");
  assign(model().statusReceipt, receipt);  // which no flow does
  EXPECT_EQ(model().settingsStatusDetail(), std::nullopt);
  EXPECT_EQ(model().settingsStatusDetailHelp(), std::nullopt);
}

TEST_F(AppModelStatus, helpIsAbsentWithoutAReceipt) {
  EXPECT_EQ(model().settingsStatusDetailHelp(), std::nullopt);
}

TEST_F(AppModelStatus, dateIsThatOfTheResultOnShow) {
  EXPECT_EQ(model().settingsStatusDate(), std::nullopt);
  show("1 photo synced");
  const Date shown = now();
  world.advance(10s);
  EXPECT_EQ(model().settingsStatusDate(), shown);
  assign(model().statusMessage, "Matches saved");
  EXPECT_EQ(model().settingsStatusDate(), std::nullopt);
}

TEST_F(AppModelStatus, dateOfACameraThatIsUpToDateIsThatOfItsCheck) {
  check(camera);
  const Date checked = now();
  world.advance(10s);
  show("Camera up to date");
  EXPECT_EQ(model().settingsStatusDate(), checked);
  assign(model().cameraCheckReceipts, {});
  EXPECT_EQ(model().settingsStatusDate(), std::nullopt);  // not the receipt's
}

TEST_F(AppModelStatus, dateIsAbsentWhileAnythingRunsOrFailed) {
  check(camera);
  assign(model().statusMessage, "Camera up to date");
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    EXPECT_EQ(model().settingsStatusDate(), std::nullopt);
    assign(*work, false);
    EXPECT_NE(model().settingsStatusDate(), std::nullopt);
  }
  assign(model().lastError, "It broke.");
  EXPECT_EQ(model().settingsStatusDate(), std::nullopt);
}

// Each rule is made to hold after those that come later.
TEST_F(AppModelStatus, symbolFollowsTheFirstRuleThatHolds) {
  EXPECT_EQ(model().settingsStatusSymbol(), std::nullopt);
  assign(model().libraryReviewCompletedAt, now());
  EXPECT_EQ(model().settingsStatusSymbol(), done);
  assign(model().libraryReviewCompletedAt, std::nullopt);
  show("1 photo synced");
  EXPECT_EQ(model().settingsStatusSymbol(), done);
  leaveUncertain();
  EXPECT_EQ(model().settingsStatusSymbol(), attention);
  assign(model().isEjecting, true);
  EXPECT_EQ(model().settingsStatusSymbol(), std::nullopt);
  assign(model().isSyncing, true);
  assign(model().isEjecting, false);
  EXPECT_EQ(model().settingsStatusSymbol(), std::nullopt);
  assign(model().lastError, "It broke.");
  EXPECT_EQ(model().settingsStatusSymbol(), attention);
}

}  // namespace
}  // namespace tolvander::tests
