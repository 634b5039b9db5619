#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "TolvanderCore/MediaSourceError.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::AppModel;
using app::PhotosAuthorizationStatus;
using app::PhotosPermissionStatus;
using app::StatusReceipt;
using Lines = std::vector<std::string>;

// A Charmera with one photo and a second card, both saved, neither mounted.
class AppModelEvents : public testing::Test {
 protected:
  AppModelEvents() {
    world.addPhoto(camera, "PICT0001.JPG", 1);
    world.addPhoto(card, "PICT0002.JPG", 2);
  }

  void launchWithSavedCameras() {
    world.remember(camera);
    world.remember(card);
    world.launchAfterSetup();
  }

  // The camera's volume is known, and nothing was synced.
  void launchWithMountedCamera() {
    world.mount(camera);
    launchWithSavedCameras();
    ASSERT_FALSE(model().connectedDevices->empty());
  }

  void mountAndSettle(const AppModelWorld::Camera& which) {
    world.mount(which);
    world.advance(2s);
  }

  void unmount(const AppModelWorld::Camera& which) {
    world.unmount(which);
    world.runUntilIdle();
  }

  void giveReceipts() {
    update(model().cameraCheckReceipts, [this](auto& receipts) {
      receipts[camera.url] = syncReceipt("CHARMERA");
      receipts[card.url] = syncReceipt("CARD");
    });
  }

  void showReceipt(const std::string& message) {
    assign(model().statusReceipt,
           resultOnShow(message, world.mainThread.wallNow(), StatusReceipt::whileMounted));
    assign(model().statusMessage, message);
    assign(model().showsCompletionCheckmark, true);
    model().setStatusMenuOpen(false);  // begins its time
  }

  // Ejects the camera; the volume stays where it is until the test takes it away.
  void eject() {
    model().ejectDevice({.volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true});
    world.runUntilIdle();
    ASSERT_EQ(*model().statusMessage, "Ejected CHARMERA");
  }

  // As another flow's result would be, which the eject's own receipt doesn't cover.
  void showBadgeWithoutReceipt() {
    assign(model().statusReceipt, std::nullopt);
    assign(model().statusMessage, "Matches saved");
    assign(model().showsCompletionCheckmark, true);
  }

  AppModel& model() { return world.model(); }
  std::string status() { return model().statusMessage; }
  std::size_t importCount() const { return world.photoLibrary.creations().size(); }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  AppModelWorld::Camera card = world.makeCard("CARD");
};

// MARK: Mounts

TEST_F(AppModelEvents, mountLeavesTheVolume2SecondsToSettle) {
  launchWithSavedCameras();
  world.mount(camera);
  world.advance(2s - 1ns);
  EXPECT_TRUE(model().connectedDevices->empty());
  EXPECT_EQ(importCount(), 0U);
  world.advance(1ns);
  EXPECT_EQ(model().connectedDevices->size(), 1U);
  EXPECT_EQ(importCount(), 1U);
  EXPECT_EQ(status(), "1 photo synced");
}

TEST_F(AppModelEvents, mountThenAnUnmountWithin2SecondsDoesNothingApartFromTheUnmountHandling) {
  launchWithSavedCameras();
  world.takeStatuses();
  giveReceipts();
  world.mount(camera);
  world.advance(1s);
  unmount(camera);
  EXPECT_EQ(model().cameraCheckReceipts->count(camera.url), 0U);
  EXPECT_EQ(model().cameraCheckReceipts->count(card.url), 1U);
  giveReceipts();
  world.advance(10s);
  EXPECT_EQ(model().cameraCheckReceipts->size(), 2U);  // the mount is not looked at any more
  EXPECT_EQ(world.takeStatuses(), Lines());
  EXPECT_EQ(importCount(), 0U);
}

TEST_F(AppModelEvents, mountOfADriveThatIsNoSavedCameraStartsNoSyncAndLosesNoReceiptOfOthers) {
  launchWithMountedCamera();
  giveReceipts();
  world.takeStatuses();
  const auto drive = world.makeCard("DRIVE");
  mountAndSettle(drive);
  EXPECT_EQ(model().cameraCheckReceipts->size(), 2U);
  EXPECT_EQ(importCount(), 0U);
  EXPECT_EQ(world.takeStatuses(), Lines());
}

TEST_F(AppModelEvents, mountWithSetupIncompleteAndOneMountedCandidateIsReadyToSync) {
  world.remember(camera);
  world.start();
  mountAndSettle(camera);
  EXPECT_EQ(status(), "Ready to sync");
  EXPECT_EQ(importCount(), 0U);
}

TEST_F(AppModelEvents, mountWithSetupIncompleteAndNoCandidateAsksForTheDrive) {
  world.remember(camera);
  world.start();
  mountAndSettle(card);
  EXPECT_EQ(status(), "Choose your Charmera drive");
  EXPECT_EQ(importCount(), 0U);
}

TEST_F(AppModelEvents, mountWithNoProfileAtAllAsksForTheCameraWhateverTheSetupState) {
  world.start();
  mountAndSettle(camera);
  EXPECT_EQ(status(), "Connect your Charmera");
  assign(model().statusMessage, "");
  world.completeSetup();
  mountAndSettle(card);
  EXPECT_EQ(status(), "Connect your Charmera");
  EXPECT_EQ(importCount(), 0U);
}

TEST_F(AppModelEvents, mountWithoutPhotosAccessSuspendsSetup) {
  launchWithSavedCameras();
  assign(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  mountAndSettle(camera);
  EXPECT_EQ(status(), "Photos access needed");
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(importCount(), 0U);
}

TEST_F(AppModelEvents, remountHasTheCameraLookedAtAfresh) {
  launchWithSavedCameras();
  mountAndSettle(camera);
  EXPECT_EQ(status(), "1 photo synced");
  ASSERT_EQ(model().cameraCheckReceipts->count(camera.url), 1U);
  EXPECT_EQ(model().cameraCheckReceipts->at(camera.url).count, 1);
  mountAndSettle(camera);
  EXPECT_EQ(status(), "Camera up to date");
  EXPECT_EQ(model().cameraCheckReceipts->at(camera.url).count, 0);
}

TEST_F(AppModelEvents, mountUnderAnotherSpellingIsTheSameVolume) {
  launchWithSavedCameras();
  world.volumes.mount(camera.url.appending("../CHARMERA"), FakeVolumes::card("CHARMERA"));
  world.advance(2s);
  EXPECT_EQ(importCount(), 1U);
}

TEST_F(AppModelEvents, mountsInQuickSuccessionAreBothSynced) {
  launchWithSavedCameras();
  world.mount(camera);
  world.mount(card);
  world.advance(2s);
  EXPECT_EQ(model().connectedDevices->size(), 2U);
  EXPECT_EQ(importCount(), 2U);
}

TEST_F(AppModelEvents, mountIsAFailureForTheUserWhereTheMountTableCannotBeRead) {
  launchWithSavedCameras();
  world.mount(camera);
  world.volumes.isUnreadable = true;
  world.advance(2s);
  EXPECT_EQ(status(), "Sync needs attention");
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(importCount(), 0U);
}

// MARK: Unmounts

TEST_F(AppModelEvents, unmountByHandWithoutAReceiptShowsTheIdleStatusAtOnce) {
  launchWithMountedCamera();
  showBadgeWithoutReceipt();
  unmount(camera);
  EXPECT_EQ(status(), "Waiting for connection");
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_TRUE(model().connectedDevices->empty());
}

TEST_F(AppModelEvents, unmountByHandWithAReceiptOnShowKeepsMessageAndBadgeUntilItExpires) {
  launchWithMountedCamera();
  showReceipt("1 photo synced");
  unmount(camera);
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_TRUE(model().showsCompletionCheckmark);
  world.advance(120s - 1ns);
  EXPECT_EQ(status(), "1 photo synced");
  world.advance(1ns);
  EXPECT_EQ(status(), "Waiting for connection");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountByHandKeepsCameraUpToDateOnShowUntilItExpires) {
  world.mount(camera);
  launchWithSavedCameras();
  world.run(model().syncAllConnected(false));
  world.run(model().syncAllConnected(false));
  ASSERT_EQ(status(), "Camera up to date");
  unmount(camera);
  EXPECT_EQ(status(), "Camera up to date");
  world.advance(120s - 1ns);
  EXPECT_EQ(status(), "Camera up to date");
  world.advance(1ns);
  EXPECT_EQ(status(), "Waiting for connection");
}

TEST_F(AppModelEvents, mountAndUnmountOfADriveChangeTheListOfDrives) {
  world.completeSetup();
  world.launch();
  world.start();
  ASSERT_TRUE(model().availableRemovableVolumes->empty());
  mountAndSettle(card);
  ASSERT_EQ(model().availableRemovableVolumes->size(), 1U);
  EXPECT_EQ(model().availableRemovableVolumes->front().displayName, "CARD");
  EXPECT_EQ(status(), "Connect your Charmera");
  unmount(card);
  EXPECT_TRUE(model().availableRemovableVolumes->empty());
  EXPECT_EQ(status(), "Waiting for connection");
}

TEST_F(AppModelEvents, unmountByOurOwnEjectWithin300SecondsKeepsStatusAndBadge) {
  launchWithMountedCamera();
  eject();
  assign(model().showsCompletionCheckmark, true);
  world.advance(300s - 1ns);
  unmount(camera);
  EXPECT_EQ(status(), "Ejected CHARMERA");
  EXPECT_TRUE(model().showsCompletionCheckmark);
  EXPECT_TRUE(model().connectedDevices->empty());
}

TEST_F(AppModelEvents, unmountByOurOwnEjectWithin300SecondsKeepsABadgeWithoutAReceipt) {
  launchWithMountedCamera();
  eject();
  world.advance(300s - 1ns);
  showBadgeWithoutReceipt();
  unmount(camera);
  EXPECT_TRUE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountAfter300SecondsIsNotOurs) {
  launchWithMountedCamera();
  eject();
  world.advance(300s);
  showBadgeWithoutReceipt();
  unmount(camera);
  EXPECT_EQ(status(), "Waiting for connection");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountOfAnEjectedAndMountedAgainVolumeIsNotOurs) {
  launchWithMountedCamera();
  eject();
  unmount(camera);
  mountAndSettle(camera);
  showBadgeWithoutReceipt();
  unmount(camera);
  EXPECT_EQ(status(), "Waiting for connection");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountOfAnotherVolumeThanTheEjectedOneIsNotOurs) {
  world.mount(card);
  launchWithMountedCamera();
  eject();
  showBadgeWithoutReceipt();
  unmount(card);
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountWhileWeEjectIsOurs) {
  launchWithMountedCamera();
  assign(model().showsCompletionCheckmark, true);
  world.ejector.eject = [this](const FileURL&) { world.mainThread.post([this] { world.unmount(camera); }); };
  eject();
  EXPECT_TRUE(model().showsCompletionCheckmark);
  EXPECT_TRUE(model().connectedDevices->empty());
  EXPECT_EQ(world.takeStatuses().back(), "Ejected CHARMERA");
  world.advance(300s);
  EXPECT_EQ(status(), "Waiting for connection");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountLeavesAFailureMessage) {
  launchWithMountedCamera();
  assign(model().lastError, "CHARMERA could not be ejected: It is in use.");
  assign(model().statusMessage, "Eject needs attention");
  unmount(camera);
  EXPECT_EQ(*model().lastError, "CHARMERA could not be ejected: It is in use.");
  EXPECT_EQ(status(), "Eject needs attention");
}

TEST_F(AppModelEvents, unmountLeavesTheMessageOfARunningFlow) {
  launchWithMountedCamera();
  assign(model().isSyncing, true);
  assign(model().statusMessage, "Reading camera files…");
  unmount(camera);
  EXPECT_EQ(status(), "Reading camera files…");
}

TEST_F(AppModelEvents, unmountForgetsTheReviewAndTheAccessIssueOfTheVolume) {
  launchWithMountedCamera();
  assign(model().libraryReviews, std::vector{emptyReview(camera.url)});
  assign(model().libraryReviewCompletedAt, world.mainThread.wallNow());
  assign(model().removableVolumeAccessIssue, app::RemovableVolumeAccessIssue{.volumeName = "CHARMERA"});
  unmount(camera);
  EXPECT_TRUE(model().libraryReviews->empty());
  EXPECT_EQ(*model().libraryReviewCompletedAt, std::nullopt);
  EXPECT_EQ(*model().removableVolumeAccessIssue, std::nullopt);
}

TEST_F(AppModelEvents, unmountKeepsTheAccessIssueOfAnotherVolume) {
  launchWithMountedCamera();
  const app::RemovableVolumeAccessIssue issue{.volumeName = "CARD"};
  assign(model().removableVolumeAccessIssue, issue);
  unmount(camera);
  EXPECT_EQ(*model().removableVolumeAccessIssue, issue);
}

TEST_F(AppModelEvents, unmountOfAVolumeThatIsNotOnShowLosesItsReceiptOnly) {
  launchWithMountedCamera();
  giveReceipts();
  showBadgeWithoutReceipt();
  assign(model().libraryReviews, std::vector{emptyReview(camera.url)});
  unmount(card);
  EXPECT_EQ(model().cameraCheckReceipts->count(card.url), 0U);
  EXPECT_EQ(model().cameraCheckReceipts->count(camera.url), 1U);
  EXPECT_EQ(model().libraryReviews->size(), 1U);
  EXPECT_EQ(status(), "Matches saved");
  EXPECT_TRUE(model().showsCompletionCheckmark);
}

TEST_F(AppModelEvents, unmountOfAVolumeThatCouldBeACameraIsHandled) {
  const auto drive = world.makeCard("DRIVE");
  world.mount(drive);
  launchWithSavedCameras();
  ASSERT_TRUE(model().connectedDevices->empty());
  ASSERT_EQ(model().availableRemovableVolumes->size(), 1U);
  assign(model().libraryReviews, std::vector{emptyReview(camera.url)});
  unmount(drive);
  EXPECT_TRUE(model().libraryReviews->empty());
}

// MARK: Activation

TEST_F(AppModelEvents, activationReadsThePermissions) {
  launchWithMountedCamera();
  world.notifications.status = app::NotificationAuthorizationStatus::denied;
  world.loginItem.currentStatus = app::LoginItemStatus::enabled;
  world.application.didBecomeActive();
  world.runUntilIdle();
  EXPECT_EQ(model().notificationPermissionStatus, app::NotificationPermissionStatus::denied);
  EXPECT_EQ(model().loginStatus, app::LoginItemStatus::enabled);
}

TEST_F(AppModelEvents, activationAfterRevokedPhotosAccessSuspendsSetup) {
  launchWithMountedCamera();
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.application.didBecomeActive();
  world.runUntilIdle();
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_TRUE(model().showsAttentionBadge());
  EXPECT_EQ(status(), "Photos access needed");
  EXPECT_EQ(world.logLines("setupSuspended").size(), 1U);
}

// The flow notices at different places, depending on how far it is.
TEST_F(AppModelEvents, activationAfterRevokedPhotosAccessCancelsARunningSync) {
  for (int rounds = 0;; ++rounds) {
    AppModelWorld other;
    const auto charmera = other.makeCharmera();
    other.addPhoto(charmera, "PICT0001.JPG", 1);
    other.remember(charmera);
    other.mount(charmera);
    other.launchAfterSetup();
    other.model().checkNow();
    other.mainThread.runUntil([&] { return bool(other.model().isSyncing); });
    int left = rounds;
    other.mainThread.runUntil([&] { return left-- == 0; });
    if (!other.model().isSyncing) {
      ASSERT_GT(rounds, 5);
      break;
    }
    other.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
    other.application.didBecomeActive();
    other.runUntilIdle();
    EXPECT_FALSE(other.settings().onboardingCompleted()) << rounds;
    EXPECT_FALSE(other.model().isSyncing) << rounds;
    EXPECT_EQ(*other.model().statusMessage, "Photos access needed") << rounds;
  }
}

TEST_F(AppModelEvents, deniedVolumeSuspendsSetupOnceTheOtherVolumesWereSynced) {
  world.mount(card);
  launchWithMountedCamera();
  model().checkNow();
  world.mainThread.runUntil([&] { return bool(model().isSyncing); });
  world.volumes.answersBeforeFailure = 1;  // the first volume is looked at in vain
  world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD"))};
  world.runUntilIdle();
  EXPECT_EQ(importCount(), 1U) << "of the second volume";
  ASSERT_FALSE(model().cameraRuns->empty());
  EXPECT_EQ(model().cameraRuns->back().volumeURL, camera.url);
  EXPECT_EQ(model().cameraRuns->back().end, app::CameraRun::End::done);
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(world.logLines("setupSuspended").size(), 1U);
  EXPECT_EQ(status(), "Camera access needed");
}

TEST_F(AppModelEvents, deniedVolumeAtTheStartSuspendsSetupAfterTheFirstSync) {
  world.mount(card);
  world.mount(camera);
  world.remember(camera);
  world.remember(card);
  world.completeSetup();
  for (const auto firstSync : {AppModel::FirstSync::whenSetupIsComplete, AppModel::FirstSync::later}) {
    world.settings().setOnboardingCompleted(true);
    world.launch();
    // The volumes are listed twice, by the refresh of the drives and by the search, which then asks for each.
    world.volumes.answersBeforeFailure = 2;
    world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD"))};
    world.start(firstSync);
    EXPECT_TRUE(model().removableVolumeAccessIssue->has_value());
    if (firstSync == AppModel::FirstSync::later) {
      EXPECT_TRUE(world.settings().onboardingCompleted());
      world.run(model().syncAllConnected(false));
    }
    EXPECT_FALSE(model().cameraRuns->empty());
    EXPECT_FALSE(world.settings().onboardingCompleted());
    EXPECT_EQ(status(), "Camera access needed");
  }
}

TEST_F(AppModelEvents, deniedVolumeSuspendsSetupOnceTheMountedOneWasSynced) {
  world.mount(card);
  launchWithSavedCameras();
  world.mount(camera);
  // The volumes are listed twice, by the handling of the mount and by the search, which then asks for each.
  world.volumes.answersBeforeFailure = 2;
  world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD"))};
  world.advance(2s);
  EXPECT_FALSE(model().cameraRuns->empty());
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(status(), "Camera access needed");
}

TEST_F(AppModelEvents, deniedVolumeThatIsPulledOutDuringTheSyncLeavesSetupAsItIs) {
  world.mount(card);
  launchWithMountedCamera();
  model().checkNow();
  world.mainThread.runUntil([&] { return bool(model().isSyncing); });
  world.volumes.answersBeforeFailure = 1;  // the first volume is looked at in vain
  world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD"))};
  world.mainThread.runUntil([&] { return model().removableVolumeAccessIssue->has_value(); });
  world.unmount(card);
  world.runUntilIdle();
  EXPECT_EQ(importCount(), 1U) << "of the second volume";
  EXPECT_TRUE(world.settings().onboardingCompleted());
}

// The sync is stopped by it, but that is not what the user has to know.
TEST_F(AppModelEvents, deniedVolumeDuringASyncReadsAsNeededAccess) {
  world.mount(card);
  launchWithMountedCamera();
  model().checkNow();
  world.mainThread.runUntil([&] { return bool(model().isSyncing); });
  world.volumes.answersBeforeFailure = 1;  // the list is read, and the first volume is looked at in vain
  world.volumes.failures = {std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD"))};
  world.runUntilIdle();
  EXPECT_TRUE(model().removableVolumeAccessIssue->has_value());
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(status(), "Camera access needed");
}

}  // namespace
}  // namespace tolvander::tests
