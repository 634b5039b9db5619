#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelWorld.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::AppModel;
using app::LoginItemStatus;
using app::NotificationPermissionStatus;
using app::PhotosAuthorizationStatus;
using app::PhotosPermissionStatus;
using Lines = std::vector<std::string>;

class AppModelStart : public testing::Test {
 protected:
  // A saved camera that is plugged in, with setup completed and the model made, but not started.
  void makeReady() {
    world.addPhoto(camera, "PICT0001.JPG", 1);
    world.remember(camera);
    world.mount(camera);
    world.completeSetup();
    world.launch();
  }

  // Staged, and about to be given to the library.
  static PreparedMediaFile preparedFile(const std::string& source, const std::string& processed) {
    return {.sourceFile = {.url = FileURL("/CARD/A.JPG"),
                           .volumeURL = FileURL("/CARD"),
                           .relativePath = "A.JPG",
                           .filename = "A.JPG",
                           .byteCount = 1,
                           .modifiedAt = {}},
            .importURL = FileURL("/staging/A.JPG"),
            .sourceFingerprint = source,
            .mediaPayloadFingerprint = {},
            .processedFingerprint = processed,
            .processingVersion = {},
            .captureDate = {}};
  }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
};

// MARK: Construction

TEST_F(AppModelStart, holdsInitialValues) {
  const AppModel& model = world.model();
  EXPECT_EQ(*model.statusMessage, "Waiting for connection");
  EXPECT_FALSE(model.isSyncing);
  EXPECT_TRUE(model.connectedDevices->empty());
  EXPECT_TRUE(model.availableRemovableVolumes->empty());
  EXPECT_TRUE(model.deviceTrashSummaries->empty());
  EXPECT_TRUE(model.availableAlbumNames->empty());
  EXPECT_EQ(model.photosPermissionStatus, PhotosPermissionStatus::authorized);
  EXPECT_EQ(model.notificationPermissionStatus, NotificationPermissionStatus::notDetermined);
  EXPECT_EQ(*model.removableVolumeAccessIssue, std::nullopt);
  EXPECT_EQ(*model.lastError, std::nullopt);
  EXPECT_FALSE(model.offersPhotoReview);
  EXPECT_FALSE(model.isEjecting);
  EXPECT_FALSE(model.showsCompletionCheckmark);
  EXPECT_FALSE(model.isRequestingCameraAccess);
  EXPECT_EQ(*model.availableUpdateVersion, std::nullopt);
  EXPECT_FALSE(model.isUpdatingAlbum);
  EXPECT_FALSE(model.isRefreshingDevices);
  EXPECT_EQ(*model.statusReceipt, std::nullopt);
  EXPECT_EQ(*model.collectedPhotoCount, std::nullopt);
  EXPECT_EQ(*model.collectedVideoCount, std::nullopt);
  EXPECT_TRUE(model.cameraCheckReceipts->empty());
  EXPECT_TRUE(model.libraryReviews->empty());
  EXPECT_EQ(*model.libraryReviewCompletedAt, std::nullopt);
  EXPECT_EQ(*model.syncPhase, SyncPhase{.kind = SyncPhase::Kind::finished});
  EXPECT_EQ(model.loginStatus, LoginItemStatus::notRegistered);
}

TEST_F(AppModelStart, readsTheLoginItemAtOnce) {
  world.loginItem.currentStatus = LoginItemStatus::requiresApproval;
  world.launch();
  EXPECT_EQ(world.model().loginStatus, LoginItemStatus::requiresApproval);
}

TEST_F(AppModelStart, takesThePhotosStatusFromTheLibraryWhereItIsNotGiven) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::limited});
  world.launch();
  EXPECT_EQ(world.model().photosPermissionStatus, PhotosPermissionStatus::limited);
  world.launch(PhotosPermissionStatus::denied);
  EXPECT_EQ(world.model().photosPermissionStatus, PhotosPermissionStatus::denied);
}

TEST_F(AppModelStart, asksForAttentionWhenAnEarlierSetupWasLeft) {
  EXPECT_FALSE(world.model().showsAttentionBadge());  // the first session began with the first launch
  world.launch();
  EXPECT_TRUE(world.model().showsAttentionBadge());
}

TEST_F(AppModelStart, suspendsSetupWhenNoCameraIsSaved) {
  world.completeSetup();
  world.launch();
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_TRUE(world.settings().onboardingNeedsAttention());
}

TEST_F(AppModelStart, keepsSetupWithACameraAndAccess) {
  world.remember(camera);
  world.completeSetup();
  world.launch();
  EXPECT_TRUE(world.settings().onboardingCompleted());
  EXPECT_FALSE(world.model().showsAttentionBadge());
}

TEST_F(AppModelStart, suspendsSetupForEveryPhotosStatusButAuthorized) {
  world.remember(camera);
  for (const auto status : {PhotosPermissionStatus::limited, PhotosPermissionStatus::notDetermined,
                            PhotosPermissionStatus::denied, PhotosPermissionStatus::restricted}) {
    world.completeSetup();
    world.launch(status);
    EXPECT_FALSE(world.settings().onboardingCompleted());
    EXPECT_TRUE(world.model().showsAttentionBadge());
  }
}

TEST_F(AppModelStart, recordsNothingBefore) {
  world.completeSetup();
  world.launch(PhotosPermissionStatus::denied);
  EXPECT_EQ(world.logLines(), Lines());
}

// MARK: The log

TEST_F(AppModelStart, recordsTheLaunchAndThePermissions) {
  makeReady();
  world.start();
  const auto lines = world.logLines();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[0],
            R"({"event":"appLaunched","metrics":{"app_build":45,"app_major":1,"app_minor":2,"app_patch":3,)"
            R"("os_major":0,"os_minor":0,"os_patch":0}})");
  EXPECT_EQ(lines[1], R"({"event":"permissionsChanged","metrics":{"photos_allowed":1,"photos_declined":0,)"
                      R"("saved_cameras":1,"setup_complete":1}})");
}

TEST_F(AppModelStart, recordsDeclinedPermissionsOfAnUnfinishedSetup) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.launch();
  world.start();
  EXPECT_EQ(world.logLines("permissionsChanged").at(0),
            R"({"event":"permissionsChanged","metrics":{"photos_allowed":0,"photos_declined":1,)"
            R"("saved_cameras":0,"setup_complete":0}})");
}

// MARK: The start sequence

TEST_F(AppModelStart, syncsACameraThatWasMountedBeforeLaunchWithoutAMountEvent) {
  makeReady();
  world.start(AppModel::FirstSync::whenSetupIsComplete);
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
  EXPECT_EQ(*world.model().statusMessage, "1 photo synced");
  EXPECT_TRUE(world.notifications.requests.size() == 1 &&
              world.notifications.requests[0].title == "1 photo synced");  // none that it began
}

TEST_F(AppModelStart, syncsNothingWhereItIsToldNotTo) {
  makeReady();
  world.start(AppModel::FirstSync::never);
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);
  EXPECT_EQ(world.model().connectedDevices->size(), 1U);
}

TEST_F(AppModelStart, syncsNothingWhileSetupIsUnfinished) {
  world.addPhoto(camera, "PICT0001.JPG", 1);
  world.remember(camera);
  world.mount(camera);
  world.launch();
  world.start(AppModel::FirstSync::whenSetupIsComplete);
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);
}

// MARK: Imports that were cut short

TEST_F(AppModelStart, completesInterruptedImportsAlsoWithoutACamera) {
  makeReady();
  world.unmount(camera);
  world.history().identity();
  world.history().beginPreparedImport({preparedFile("source", "content")});
  for (std::size_t launches = 1; launches <= 2; ++launches) {  // the second one reads the history anew
    world.start(AppModel::FirstSync::whenSetupIsComplete);
    ASSERT_EQ(world.photoLibrary.completions().size(), launches);
    EXPECT_EQ(world.photoLibrary.completions().back(), std::set<std::string>{"content"});
    EXPECT_EQ(*world.model().lastError, std::nullopt);
    world.launch();
  }
}

TEST_F(AppModelStart, completesNothingForAHistoryThatPreparedNothing) {
  makeReady();
  world.unmount(camera);
  world.start(AppModel::FirstSync::whenSetupIsComplete);
  EXPECT_TRUE(world.photoLibrary.completions().empty());
  EXPECT_FALSE(std::filesystem::exists(world.folder.url().appending("history.id").path()));
}

TEST_F(AppModelStart, completesNothingWhileSetupIsUnfinishedOrWhereItIsNotToSync) {
  world.remember(camera);
  world.mount(camera);
  world.launch();
  world.history().identity();
  world.start(AppModel::FirstSync::whenSetupIsComplete);
  world.completeSetup();
  world.launch();
  world.start(AppModel::FirstSync::later);
  EXPECT_TRUE(world.photoLibrary.completions().empty());
}

// MARK: What the screens show

TEST_F(AppModelStart, readsEverythingThatTheScreensShow) {
  makeReady();
  world.history().record(ImportRecord::make("source", "A.JPG", "DCIM/A.JPG", 1, Date(), "asset", false));
  world.history().record(ImportRecord::make("film", "A.AVI", "DCIM/A.AVI", 1, Date(), "film", false));
  world.photoLibrary.addAlbum("Summer");
  world.loginItem.currentStatus = LoginItemStatus::enabled;
  world.start();
  const AppModel& model = world.model();
  EXPECT_EQ(*model.collectedPhotoCount, 1);
  EXPECT_EQ(*model.collectedVideoCount, 1);
  EXPECT_EQ(model.loginStatus, LoginItemStatus::enabled);
  EXPECT_EQ(model.notificationPermissionStatus, NotificationPermissionStatus::authorized);
  EXPECT_EQ(*model.availableRemovableVolumes,
            (std::vector<app::RemovableVolumeSummary>{{.volumeURL = camera.url, .displayName = "CHARMERA"}}));
  EXPECT_EQ(*model.connectedDevices,
            (std::vector<app::ConnectedDeviceSummary>{
                {.volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true}}));
  EXPECT_EQ(*model.availableAlbumNames, Lines{"Summer"});
  EXPECT_EQ(*model.lastError, std::nullopt);
}

TEST_F(AppModelStart, sweepsStagingThatWasAbandonedADayAgo) {
  makeReady();
  const FileURL old = world.stagingFolder().appending("old");
  const FileURL young = world.stagingFolder().appending("young");
  std::filesystem::create_directories(old.path());
  std::filesystem::create_directories(young.path());
  const auto touch = [](const FileURL& url, Date date) {
    std::filesystem::last_write_time(url.path(), std::chrono::file_clock::from_sys(date));
  };
  touch(old, world.mainThread.wallNow() - 86400s);
  touch(young, world.mainThread.wallNow() - 86399s);
  world.start();
  EXPECT_FALSE(std::filesystem::exists(old.path()));
  EXPECT_TRUE(std::filesystem::exists(young.path()));
}

TEST_F(AppModelStart, goesOnWhenAbandonedStagingCannotBeSwept) {
  makeReady();
  writeFile(world.stagingFolder(), "not a folder");
  world.start();
  EXPECT_EQ(world.model().connectedDevices->size(), 1U);
  EXPECT_EQ(*world.model().lastError, std::nullopt);
}

TEST_F(AppModelStart, goesOnWhenTheMountTableCannotBeRead) {
  makeReady();
  world.photoLibrary.addAlbum("Summer");
  world.volumes.isUnreadable = true;
  world.start(AppModel::FirstSync::whenSetupIsComplete);
  EXPECT_EQ(*world.model().availableAlbumNames, Lines{"Summer"});
  EXPECT_TRUE(world.model().lastError->has_value());
  EXPECT_EQ(*world.model().statusMessage, "Sync needs attention");
  EXPECT_FALSE(world.model().isSyncing);
  EXPECT_TRUE(world.application.didBecomeActive);  // observes what can be observed
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);

  world.volumes.isUnreadable = false;
  world.model().checkNow();
  world.runUntilIdle();
  EXPECT_EQ(*world.model().statusMessage, "1 photo synced");
}

TEST_F(AppModelStart, doesNothingTheSecondTime) {
  makeReady();
  world.start();
  const auto lines = world.logLines();
  EXPECT_EQ(world.model().start(), std::nullopt);
  world.runUntilIdle();
  EXPECT_EQ(world.logLines(), lines);
  EXPECT_EQ(world.volumes.observerCount(), 1U);
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);
}

// MARK: Observers

TEST_F(AppModelStart, observesFourEventsForAsLongAsTheModelLives) {
  EXPECT_EQ(world.volumes.observerCount(), 0U);
  EXPECT_FALSE(world.application.didBecomeActive);
  EXPECT_FALSE(world.application.prepareUninstall);
  world.start();
  EXPECT_EQ(world.volumes.observerCount(), 1U);
  EXPECT_TRUE(world.application.didBecomeActive);
  EXPECT_TRUE(world.application.prepareUninstall);
  world.quit();
  EXPECT_EQ(world.volumes.observerCount(), 0U);
  EXPECT_FALSE(world.application.didBecomeActive);
  EXPECT_FALSE(world.application.prepareUninstall);
}

TEST_F(AppModelStart, unregistersTheLoginItemAndQuitsWhenLaunchedToPrepareAnUninstall) {
  makeReady();
  world.loginItem.currentStatus = LoginItemStatus::enabled;
  world.application.givenArguments = {"--background", "--prepare-uninstall"};
  EXPECT_EQ(world.model().start(), std::nullopt);
  world.runUntilIdle();
  EXPECT_EQ(world.loginItem.changes, std::vector{false});
  EXPECT_EQ(world.application.terminations, 1);
  EXPECT_EQ(world.volumes.observerCount(), 0U);
  EXPECT_FALSE(world.application.didBecomeActive);
  EXPECT_FALSE(world.application.prepareUninstall);
  EXPECT_TRUE(world.model().connectedDevices->empty());  // no start sequence
  EXPECT_EQ(*world.model().collectedPhotoCount, std::nullopt);
}

TEST_F(AppModelStart, quitsForAnUninstallAlsoWhenTheLoginItemStays) {
  world.loginItem.currentStatus = LoginItemStatus::enabled;
  world.loginItem.fails = true;
  world.application.givenArguments = {"--prepare-uninstall"};
  world.start();
  EXPECT_EQ(world.loginItem.changes, std::vector{false});
  EXPECT_EQ(world.application.terminations, 1);
  EXPECT_EQ(*world.model().lastError, std::nullopt);
}

TEST_F(AppModelStart, takesOtherArgumentsForWhatTheyAre) {
  world.application.givenArguments = {"--prepare-uninstall-later", "prepare-uninstall"};
  world.start();
  EXPECT_EQ(world.application.terminations, 0);
}

TEST_F(AppModelStart, quitsWhenAnotherProcessPreparesAnUninstall) {
  world.loginItem.currentStatus = LoginItemStatus::enabled;
  world.start();
  world.application.prepareUninstall();
  EXPECT_EQ(world.loginItem.changes, std::vector{false});
  EXPECT_EQ(world.application.terminations, 1);
  world.loginItem.currentStatus = LoginItemStatus::enabled;
  world.loginItem.fails = true;
  world.application.prepareUninstall();
  EXPECT_EQ(world.application.terminations, 2);
}

}  // namespace
}  // namespace tolvander::tests
