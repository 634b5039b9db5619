#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "TolvanderApp/Platform/EjectError.h"
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

static_assert(!std::is_assignable_v<decltype(AppModel::isSyncing)&, bool>, "only the model assigns");

// A saved and plugged in Charmera without files, after setup.
class AppModelStatus : public testing::Test {
 protected:
  AppModelStatus() {
    world.mount(camera);
    world.remember(camera);
    world.launchAfterSetup();
  }

  AppModel& model() { return world.model(); }
  std::string status() { return model().statusMessage; }
  Date now() { return world.mainThread.wallNow(); }
  bool hasResult() { return model().statusReceipt->has_value(); }

  // The camera has one more photo, and a sync brings it into the library.
  void syncAPhoto() {
    ++photoCount_;
    world.addPhoto(camera, "PICT000" + std::to_string(photoCount_) + ".JPG", photoCount_);
    model().checkNow();
    world.runUntilIdle();
  }

  void eject() {
    model().ejectDevice({.volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true});
    world.runUntilIdle();
  }

  // Does something once, when a flow has shown its result and has not ended yet.
  void beforeTheEndOfAFlow(std::function<void()> act) {
    world.notifications.beforeStatus = [this, act = std::move(act)] {
      if (hasResult()) {
        world.notifications.beforeStatus = nullptr;
        act();
      }
    };
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

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();

 private:
  int photoCount_ = 0;
};

// MARK: What is shown

// The rules are tested with StatusPresentation; this is about the fields that they are given.
TEST_F(AppModelStatus, isMadeFromTheFieldsOfTheModel) {
  auto uncertain = emptyReview(camera.url);
  uncertain.review.uncertain.push_back(anyMediaFile(camera.url));
  StatusReceipt result = resultOnShow("1 photo synced", now() - 1s, StatusReceipt::whileMounted);
  result.metadataSkippedCount = 1;

  EXPECT_EQ(model().idleStatus(), "Ready to import");
  EXPECT_EQ(model().settingsStatusSymbol(), std::nullopt);

  assign(model().cameraCheckReceipts, std::map{std::pair(camera.url, syncReceipt("CHARMERA", 0, 0, now()))});
  assign(model().statusMessage, "Camera up to date");
  EXPECT_EQ(model().idleStatus(), "Camera up to date");
  EXPECT_EQ(model().connectedCameraReceipt()->deviceName, "CHARMERA");
  EXPECT_EQ(model().settingsStatusDate(), now());

  assign(model().statusMessage, "1 photo synced");
  assign(model().statusReceipt, result);
  EXPECT_EQ(model().settingsStatusDetail(), "1 likely duplicate skipped");
  EXPECT_EQ(model().settingsStatusDetailHelp(), result.duplicateHelp());
  EXPECT_EQ(model().settingsStatusDate(), result.completedAt);
  EXPECT_EQ(model().restingStatus("Waiting for connection"), "1 photo synced");
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    assign(model().statusReceipt, result);
    EXPECT_EQ(model().settingsStatusDate(), std::nullopt);
    assign(*work, false);
    EXPECT_EQ(model().settingsStatusDate(), result.completedAt);
  }

  assign(model().statusMessage, "Matches saved");
  assign(model().libraryReviewCompletedAt, now());
  EXPECT_EQ(model().settingsStatusSymbol(), "checkmark.circle");
  assign(model().libraryReviews, std::vector{uncertain});
  EXPECT_TRUE(model().photoReviewIsIncomplete());
  EXPECT_EQ(model().settingsStatusSymbol(), "exclamationmark.circle.fill");
  assign(model().lastError, "It broke.");
  EXPECT_EQ(model().idleStatus(), "Sync needs attention");
  assign(model().offersPhotoReview, true);
  EXPECT_EQ(model().idleStatus(), "Camera check incomplete");

  assign(model().collectedPhotoCount, 12);
  assign(model().collectedVideoCount, 3);
  EXPECT_EQ(model().collectedPhotosLabel(), "12 photos and 3 videos collected");

  EXPECT_TRUE(model().showsAttentionBadge());
  world.settings().setOnboardingCompleted(false);
  EXPECT_FALSE(model().showsAttentionBadge());
  world.settings().setOnboardingNeedsAttention(true);
  EXPECT_TRUE(model().showsAttentionBadge());

  for (const auto& grant : std::vector(world.settings().cameraGrants())) {
    world.settings().removeProfile(grant.id);
  }
  EXPECT_EQ(model().idleStatus(), "Connect your Charmera");
  assign(model().availableRemovableVolumes, {});
  EXPECT_EQ(model().idleStatus(), "Waiting for connection");
  assign(model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CHARMERA"});
  EXPECT_EQ(model().idleStatus(), "Camera access needed");
  assign(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  EXPECT_EQ(model().idleStatus(), "Photos access needed");
}

// MARK: How long a result stays

TEST_F(AppModelStatus, resultStaysFor120SecondsAndGivesWayToTheIdleStatus) {
  syncAPhoto();
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, 120s);
  world.advance(120s - 1ns);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_TRUE(model().showsCompletionCheckmark);
  world.advance(1ns);
  EXPECT_EQ(status(), "Camera up to date");
  EXPECT_FALSE(hasResult());
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(untilNextTimer(), std::nullopt);
}

TEST_F(AppModelStatus, resultOfAnEjectStaysFor300Seconds) {
  eject();
  world.advance(300s - 1ns);
  EXPECT_EQ(status(), "Ejected CHARMERA");
  world.advance(1ns);
  EXPECT_EQ(status(), "Ready to import");
}

TEST_F(AppModelStatus, resultOf120SecondsWithTheMenuOpenedAt119StaysUntilTheCloseAt200) {
  syncAPhoto();
  world.advance(119s);
  model().setStatusMenuOpen(true);
  EXPECT_EQ(untilNextTimer(), std::nullopt);  // no timer while anyone looks
  world.advance(81s);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_TRUE(model().showsCompletionCheckmark);
  model().setStatusMenuOpen(false);
  EXPECT_EQ(status(), "Camera up to date");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelStatus, resultStaysUntilWindowAndMenuAreBothClosed) {
  syncAPhoto();
  model().setSettingsWindowOpen(true);
  model().setStatusMenuOpen(true);
  world.advance(500s);
  model().setStatusMenuOpen(false);
  EXPECT_EQ(status(), "1 photo synced");
  model().setSettingsWindowOpen(false);
  EXPECT_EQ(status(), "Camera up to date");
}

TEST_F(AppModelStatus, resultLivesOnFromAnEarlyClose) {
  syncAPhoto();
  world.advance(50s);
  model().setStatusMenuOpen(true);
  world.advance(50s);
  model().setStatusMenuOpen(false);
  EXPECT_EQ(untilNextTimer(), 20s);
  world.advance(20s - 1ns);
  EXPECT_EQ(status(), "1 photo synced");
  world.advance(1ns);
  EXPECT_EQ(status(), "Camera up to date");
}

TEST_F(AppModelStatus, resultGoesButAMessageThatReplacedItStays) {
  syncAPhoto();
  assign(model().statusMessage, "Matches saved");
  world.advance(120s);
  EXPECT_FALSE(hasResult());
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(status(), "Matches saved");
}

TEST_F(AppModelStatus, resultGoesWhenASyncBegins) {
  syncAPhoto();
  model().checkNow();
  ASSERT_TRUE(world.mainThread.runUntil([&] { return bool(model().isSyncing); }));
  EXPECT_FALSE(hasResult());
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelStatus, resultGoesWhenAnEjectBegins) {
  syncAPhoto();
  world.ejector.eject = [&](const FileURL&) {
    EXPECT_FALSE(hasResult());
    EXPECT_FALSE(model().showsCompletionCheckmark);
    EXPECT_EQ(world.mainThread.untilNextTimer(), std::nullopt);
  };
  eject();
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
}

TEST_F(AppModelStatus, resultThatCameDuringWorkIsTimedFromTheWorksEnd) {
  for (const auto& work : {std::function([&] { syncAPhoto(); }), std::function([&] { eject(); })}) {
    std::chrono::duration<double> atLeast{0};
    beforeTheEndOfAFlow([&] {
      atLeast = model().statusReceipt.value()->minimumDisplayDuration;
      world.mainThread.setWallClock(now() + 100s);
      EXPECT_EQ(world.mainThread.untilNextTimer(), std::nullopt);
    });
    work();
    EXPECT_EQ(untilNextTimer(), atLeast - 100s);
  }
}

TEST_F(AppModelStatus, resultThatCameDueDuringWorkGoesAtItsEnd) {
  beforeTheEndOfAFlow([&] {
    EXPECT_EQ(status(), "1 photo synced");
    world.mainThread.setWallClock(now() + 120s);
  });
  syncAPhoto();
  EXPECT_EQ(status(), "Camera up to date");
}

TEST_F(AppModelStatus, resultWhoseTimeEndsDuringWorkStaysUntilTheWorkEnds) {
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    assign(model().statusReceipt, resultOnShow("1 photo synced", now(), 120s));
    model().setStatusMenuOpen(false);
    world.advance(120s);
    EXPECT_TRUE(hasResult());
    assign(*work, false);
    EXPECT_FALSE(hasResult());
  }
}

TEST_F(AppModelStatus, resultGoesWithAFailure) {
  syncAPhoto();
  fail(std::make_exception_ptr(CocoaError(CocoaError::Code::fileReadUnknown)));
  EXPECT_FALSE(hasResult());
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(untilNextTimer(), std::nullopt);
}

TEST_F(AppModelStatus, resultStaysWhenAFailureIsCleared) {
  syncAPhoto();
  assign(model().lastError, std::nullopt);
  EXPECT_TRUE(hasResult());
}

TEST_F(AppModelStatus, laterResultIsNotEndedByTheTimeOfTheFormer) {
  syncAPhoto();
  world.advance(100s);
  syncAPhoto();
  world.advance(20s);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_EQ(untilNextTimer(), 100s);
  world.advance(100s);
  EXPECT_EQ(status(), "Camera up to date");
}

// The former timer has rung, and finds another result in its place.
TEST_F(AppModelStatus, replacedResultIsLeftAloneByTheTimerThatWakes) {
  syncAPhoto();
  world.advance(120s - 1ns);
  assign(model().statusReceipt, resultOnShow("1 photo synced", now() - 500s, StatusReceipt::whileMounted));
  world.advance(1ns);
  EXPECT_TRUE(hasResult());
  EXPECT_EQ(status(), "1 photo synced");
}

TEST_F(AppModelStatus, resultWaitsOnWhenTheWallClockWasPutBack) {
  syncAPhoto();
  world.mainThread.setWallClock(now() - 60s);
  world.advance(120s);
  EXPECT_EQ(status(), "1 photo synced");
  world.advance(60s);
  EXPECT_EQ(status(), "Camera up to date");
}

// Another result is in the place of the sync's own when the checkmark is about to be shown.
TEST_F(AppModelStatus, resultThatGetsTheCheckmarkOfAnEjectIsTimedAnew) {
  world.settings().setAutoEjectAfterSync(true);
  world.ejector.eject = [&](const FileURL&) { world.mainThread.call([&] { world.unmount(camera); }); };
  world.notifications.beforeStatus = [&] {
    if (status() == "1 photo synced & ejected") {
      assign(model().statusReceipt, resultOnShow(status(), now(), 120s));
    }
  };
  syncAPhoto();
  EXPECT_TRUE(model().showsCompletionCheckmark);
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, 300s);
  EXPECT_EQ(untilNextTimer(), 300s);
}

TEST_F(AppModelStatus, checkmarkIsTakenBackWithoutAResult) {
  bool wasTaken = false;
  beforeTheEndOfAFlow([&] {
    assign(model().statusReceipt, std::nullopt);
    assign(model().showsCompletionCheckmark, true);
    wasTaken = true;
  });
  syncAPhoto();
  EXPECT_TRUE(wasTaken);
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelStatus, resultWithoutACheckmarkKeepsItsTime) {
  beforeTheEndOfAFlow([&] { assign(model().connectedDevices, {}); });
  syncAPhoto();
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(untilNextTimer(), 120s);
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
    syncAPhoto();  // clears the failure before
    ASSERT_TRUE(hasResult());
    fail(row.failure);
    EXPECT_TRUE(model().lastError->has_value());
    EXPECT_EQ(model().offersPhotoReview, row.offersPhotoReview) << **model().lastError;
    EXPECT_EQ(status(), row.offersPhotoReview ? "Camera check incomplete" : "Sync needs attention");
    EXPECT_FALSE(hasResult());
    EXPECT_TRUE(world.settings().onboardingCompleted());
  }
  EXPECT_EQ(world.logLines("operationFailed").size(), 8U);
}

TEST_F(AppModelStatus, ofAFailureIsItsDescription) {
  fail(std::make_exception_ptr(PhotoLibraryError(PhotoLibraryError::Case::changeFailed)));
  EXPECT_EQ(*model().lastError, "Photos could not complete the requested change.");
}

TEST_F(AppModelStatus, offerOfAReviewEndsWithTheNextFailure) {
  fail(std::make_exception_ptr(RecognitionError(RecognitionError::Case::budgetExceeded)));
  ASSERT_TRUE(model().offersPhotoReview);
  world.ejector.failure = app::EjectError(app::EjectError::Case::notPermitted);
  eject();
  EXPECT_EQ(status(), "Eject needs attention");
  EXPECT_FALSE(model().offersPhotoReview);
}

TEST_F(AppModelStatus, offerOfAReviewEndsWithItsFailure) {
  fail(std::make_exception_ptr(RecognitionError(RecognitionError::Case::budgetExceeded)));
  ASSERT_TRUE(model().offersPhotoReview);
  syncAPhoto();
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_FALSE(model().offersPhotoReview);
}

TEST_F(AppModelStatus, isNotTouchedByACancellation) {
  syncAPhoto();
  const auto lines = world.logLines();
  fail(std::make_exception_ptr(CancellationError()));
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_TRUE(hasResult());
  EXPECT_EQ(world.logLines(), lines);
}

TEST_F(AppModelStatus, ofADeniedVolumeNamesItAndSuspendsSetup) {
  fail(std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CHARMERA")));
  EXPECT_EQ(*model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CHARMERA"});
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
  world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CHARMERA")),
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

}  // namespace
}  // namespace tolvander::tests
