#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::AppModel;
using app::PhotosPermissionStatus;
using app::StatusReceipt;
using Lines = std::vector<std::string>;

class AppModelAccess : public testing::Test {
 protected:
  AppModelAccess() { world.start(); }

  void add(std::optional<FileURL> chosen) {
    world.dialogs.folders.push_back(std::move(chosen));
    model().addDevice();
    world.runUntilIdle();
  }

  // Adds what is refused with these words and changes nothing else.
  void expectRefusal(const FileURL& chosen, const std::string& words) {
    const auto grants = world.settings().cameraGrants();
    const std::string before = status();
    assign(model().statusReceipt,
           resultOnShow("1 photo synced", world.mainThread.wallNow(), StatusReceipt::whileMounted));
    assign(model().showsCompletionCheckmark, true);
    add(chosen);
    EXPECT_EQ(*model().lastError, words);
    EXPECT_FALSE(model().offersPhotoReview);
    EXPECT_EQ(*model().statusReceipt, std::nullopt);
    EXPECT_FALSE(model().showsCompletionCheckmark);
    EXPECT_EQ(status(), before);
    EXPECT_FALSE(model().isRequestingCameraAccess);
    EXPECT_EQ(world.settings().cameraGrants(), grants);
    EXPECT_TRUE(world.dialogs.alerts.empty());
  }

  void forget(const AppModelWorld::Camera& which) {
    for (const auto& grant : std::vector(world.settings().cameraGrants())) {
      if (grant.name == which.name) {
        world.dialogs.answers.push_back(0);
        model().removeDevice(grant.id);
      }
    }
    world.runUntilIdle();
  }

  // Two saved and plugged in cameras, after setup.
  void launchWithTwoCameras() {
    world.mount(camera);
    world.mount(card);
    world.remember(camera);
    world.remember(card);
    world.launchAfterSetup();
    ASSERT_EQ(model().connectedDevices->size(), 2U);
  }

  AppModel& model() { return world.model(); }
  std::string status() { return model().statusMessage; }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  AppModelWorld::Camera card = world.makeCard("CARD");
};

// MARK: Adding

TEST_F(AppModelAccess, isAskedForInAPanel) {
  add(std::nullopt);
  EXPECT_EQ(world.dialogs.panels, (std::vector<app::DirectoryPanel>{
                                      {.title = "Choose Charmera Drive",
                                       .message = "Select your Charmera’s drive. Tolvander will remember it.",
                                       .prompt = "Use This Drive",
                                       .directory = FileURL("/Volumes")}}));
}

TEST_F(AppModelAccess, isNotAddedFromACancelledPanel) {
  world.mount(camera);
  assign(model().lastError, "It broke.");
  world.takeStatuses();
  add(std::nullopt);
  EXPECT_EQ(*model().lastError, "It broke.");
  EXPECT_FALSE(model().isRequestingCameraAccess);
  EXPECT_TRUE(world.settings().cameraGrants().empty());
  EXPECT_EQ(world.takeStatuses(), Lines());
}

TEST_F(AppModelAccess, isBeingRequestedWhileThePanelIsOpenAndNotTwice) {
  world.mount(camera);
  world.dialogs.timeToAnswer = 10s;
  add(camera.url);
  EXPECT_TRUE(model().isRequestingCameraAccess);
  model().addDevice();
  world.advance(10s);
  EXPECT_FALSE(model().isRequestingCameraAccess);
  EXPECT_EQ(world.dialogs.panels.size(), 1U);
  EXPECT_EQ(world.settings().cameraGrants().size(), 1U);
}

TEST_F(AppModelAccess, isNotRequestedWhileAnythingRuns) {
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    add(camera.url);
    assign(*work, false);
  }
  EXPECT_TRUE(world.dialogs.panels.empty());
  EXPECT_FALSE(model().isRequestingCameraAccess);
}

TEST_F(AppModelAccess, toTheDCIMFolderOfACardIsRefused) {
  world.mount(camera);
  expectRefusal(camera.file("DCIM"), "Choose the drive itself rather than one of its folders.");
}

TEST_F(AppModelAccess, toTheSystemDiskOrANetworkShareIsRefused) {
  auto disk = FakeVolumes::card("Macintosh HD");
  disk.isInternal = true;
  auto share = FakeVolumes::card("SHARE");
  share.isLocal = false;
  const FileURL diskURL = world.folder / "disk";
  const FileURL shareURL = world.folder / "share";
  world.volumes.mount(diskURL, disk);
  world.volumes.mount(shareURL, share);
  for (const auto& chosen : {diskURL, shareURL, shareURL.appending("DCIM"), camera.url, FileURL("/")}) {
    expectRefusal(chosen, "Please choose a mounted removable drive.");
  }
}

TEST_F(AppModelAccess, toCARD2IsNotTakenForOneToCARD) {
  const auto second = world.makeCard("CARD 2");
  world.mount(card);
  expectRefusal(second.url, "Please choose a mounted removable drive.");
  expectRefusal(second.file("DCIM"), "Please choose a mounted removable drive.");
  world.mount(second);
  expectRefusal(second.file("DCIM"), "Choose the drive itself rather than one of its folders.");
  add(second.url);
  ASSERT_EQ(world.settings().cameraGrants().size(), 1U);
  EXPECT_EQ(world.settings().cameraGrants()[0].name, "CARD 2");
}

TEST_F(AppModelAccess, thatCannotBeKeptIsRefused) {
  world.mount(camera);
  world.bookmarks.failsToMakeScoped = true;
  expectRefusal(camera.url, "Tolvander couldn’t remember that drive: as the test wants it");
}

TEST_F(AppModelAccess, thatCannotBeStoredIsRefused) {
  world.mount(camera);
  world.mount(card);
  world.defaults.setFull(true);
  for (const auto& which : {camera, card}) {
    add(which.url);
    EXPECT_TRUE((*model().lastError)->starts_with("Tolvander couldn’t remember that drive: "))
        << **model().lastError;
    EXPECT_TRUE(world.settings().cameraGrants().empty());
    EXPECT_FALSE(model().isRequestingCameraAccess);
  }
}

TEST_F(AppModelAccess, thatCannotBeComparedWithTheMountTableIsRefused) {
  world.mount(camera);
  world.volumes.isUnreadable = true;
  add(camera.url);
  EXPECT_TRUE((*model().lastError)->starts_with("Tolvander couldn’t remember that drive: "));
  EXPECT_TRUE(world.settings().cameraGrants().empty());
  EXPECT_FALSE(model().isRequestingCameraAccess);
}

TEST_F(AppModelAccess, toACharmeraIsOneOfTheBuiltInProfile) {
  world.mount(camera);
  assign(model().lastError, "It broke.");
  assign(model().offersPhotoReview, true);
  add(camera.url);
  ASSERT_EQ(world.settings().cameraGrants().size(), 1U);
  EXPECT_EQ(world.settings().cameraGrants()[0].profileID, DeviceProfile::charmeraProfileID);
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_FALSE(model().offersPhotoReview);
  EXPECT_EQ(status(), "Ready to sync");
  ASSERT_EQ(model().connectedDevices->size(), 1U);
  EXPECT_TRUE(model().connectedDevices->front().isCharmera);
  EXPECT_EQ(world.bookmarks.open.at(camera.url), 1);
}

TEST_F(AppModelAccess, toAnotherCardIsOneOfAProfileOfItsOwn) {
  world.mount(card);
  add(card.url);
  const auto profiles = world.settings().authorizedDeviceProfiles();
  ASSERT_EQ(profiles.size(), 1U);
  EXPECT_EQ(profiles[0].kind, DeviceProfile::Kind::customMountedVolume);
  EXPECT_EQ(profiles[0].name, "CARD");
  EXPECT_EQ(profiles[0].mediaRoots, Lines{"DCIM"});
  EXPECT_EQ(status(), "Ready to sync");
  ASSERT_EQ(model().connectedDevices->size(), 1U);
  EXPECT_FALSE(model().connectedDevices->front().isCharmera);
}

TEST_F(AppModelAccess, toACardWithNeitherDCIMNorSPIDCIMHasOneMediaRootTheEmptyString) {
  std::filesystem::remove_all(card.file("DCIM").path());
  world.mount(card);
  add(card.url);
  const auto profiles = world.settings().authorizedDeviceProfiles();
  ASSERT_EQ(profiles.size(), 1U);
  EXPECT_EQ(profiles[0].mediaRoots, Lines{""});
}

TEST_F(AppModelAccess, discardsAResultOnShow) {
  world.mount(camera);
  assign(model().statusReceipt,
         resultOnShow("1 photo synced", world.mainThread.wallNow(), StatusReceipt::whileMounted));
  assign(model().showsCompletionCheckmark, true);
  add(camera.url);
  EXPECT_EQ(*model().statusReceipt, std::nullopt);
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelAccess, withoutPhotosAccessAsksForThat) {
  world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::denied});
  world.launch();
  world.start();
  world.mount(camera);
  assign(model().statusMessage, "");
  add(camera.url);
  EXPECT_EQ(status(), "Photos access needed");
  EXPECT_EQ(world.settings().cameraGrants().size(), 1U);
}

TEST_F(AppModelAccess, doesNotSyncBeforeSetupIsComplete) {
  world.addPhoto(camera, "PICT0001.JPG", 1);
  world.mount(camera);
  add(camera.url);
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);
}

TEST_F(AppModelAccess, afterSetupSyncsTheNewCamera) {
  world.mount(camera);
  world.remember(camera);
  world.launchAfterSetup();
  world.addPhoto(card, "PICT0002.JPG", 2);
  world.mount(card);
  add(card.url);
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
}

TEST_F(AppModelAccess, addedAgainIsTheSameOne) {
  world.mount(camera);
  add(camera.url);
  const UUID id = world.settings().cameraGrants().at(0).id;
  add(camera.url);
  ASSERT_EQ(world.settings().cameraGrants().size(), 1U);
  EXPECT_EQ(world.settings().cameraGrants()[0].id, id);
}

// MARK: Forgetting

TEST_F(AppModelAccess, isForgottenOnlyAfterAQuestion) {
  launchWithTwoCameras();
  world.dialogs.answers = {1};
  model().removeDevice(world.settings().cameraGrants().at(1).id);
  world.runUntilIdle();
  EXPECT_EQ(world.dialogs.alerts,
            (std::vector<app::Alert>{
                {.style = app::Alert::Style::warning,
                 .message = "Forget CARD?",
                 .informativeText = "This forgets the camera’s saved access. Its files and import history "
                                    "stay unchanged. You can add the camera again later.",
                 .buttons = {"Forget Camera", "Cancel"}}}));
  EXPECT_EQ(world.settings().cameraGrants().size(), 2U);
  EXPECT_EQ(model().connectedDevices->size(), 2U);
}

TEST_F(AppModelAccess, thatIsForgottenEndsWhileTheOthersStay) {
  launchWithTwoCameras();
  assign(model().libraryReviews, std::vector{emptyReview(card.url)});
  ASSERT_EQ(world.bookmarks.open.at(card.url), 1);
  forget(card);
  ASSERT_EQ(world.settings().cameraGrants().size(), 1U);
  EXPECT_EQ(world.settings().cameraGrants()[0].name, "CHARMERA");
  EXPECT_EQ(world.bookmarks.open.at(card.url), 0);
  EXPECT_EQ(world.bookmarks.open.at(camera.url), 1);
  EXPECT_TRUE(model().libraryReviews->empty());
  ASSERT_EQ(model().connectedDevices->size(), 1U);
  EXPECT_EQ(model().connectedDevices->front().volumeURL, camera.url);
  EXPECT_TRUE(world.settings().onboardingCompleted());
}

TEST_F(AppModelAccess, thatIsTheLastLeadsBackToSetupWhenForgotten) {
  launchWithTwoCameras();
  forget(card);
  forget(camera);
  EXPECT_TRUE(world.settings().cameraGrants().empty());
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_TRUE(model().showsAttentionBadge());
  EXPECT_EQ(status(), "Connect your Charmera");
}

TEST_F(AppModelAccess, isNotForgottenWhileAnythingRuns) {
  launchWithTwoCameras();
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    forget(card);
    assign(*work, false);
  }
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_EQ(world.settings().cameraGrants().size(), 2U);
}

TEST_F(AppModelAccess, isNotForgottenWhenWorkHasBegunBeforeTheAnswer) {
  launchWithTwoCameras();
  world.dialogs.whileOpen = [this] { assign(model().isSyncing, true); };
  forget(card);
  EXPECT_EQ(world.dialogs.alerts.size(), 1U);
  EXPECT_EQ(world.settings().cameraGrants().size(), 2U);
}

TEST_F(AppModelAccess, thatDoesNotExistIsNotAskedAbout) {
  launchWithTwoCameras();
  model().removeDevice(UUID::random());
  world.runUntilIdle();
  EXPECT_TRUE(world.dialogs.alerts.empty());
}

TEST_F(AppModelAccess, staysWhereItsForgettingCannotBeStored) {
  launchWithTwoCameras();
  world.defaults.setFull(true);
  forget(card);
  EXPECT_EQ(world.settings().cameraGrants().size(), 2U);
  EXPECT_EQ(model().connectedDevices->size(), 2U);
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(status(), "Sync needs attention");
}

// MARK: Using

TEST_F(AppModelAccess, byAStaleBookmarkIsRenewedInTheSettingsAndKeepsWorking) {
  launchWithTwoCameras();
  const auto old = world.settings().cameraGrants().at(0).bookmark;
  world.bookmarks.known.begin()->second.isStale = true;
  world.settings().setSecurityScopedBookmark(world.bookmarks.add("old", {.url = camera.url, .isStale = true}),
                                             world.settings().cameraGrants()[0].id);
  world.run(model().refreshTrashCount());
  EXPECT_EQ(world.settings().cameraGrants()[0].bookmark, old);  // made anew, of the same place
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(model().connectedDevices->size(), 2U);
}

TEST_F(AppModelAccess, byAStaleBookmarkThatCannotBeStoredIsAFailure) {
  launchWithTwoCameras();
  world.settings().setSecurityScopedBookmark(world.bookmarks.add("old", {.url = camera.url, .isStale = true}),
                                             world.settings().cameraGrants()[0].id);
  world.defaults.setFull(true);
  world.run(model().refreshTrashCount());
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(world.settings().cameraGrants()[0].bookmark, bytesOf("old"));
  world.defaults.setFull(false);
  world.run(model().refreshTrashCount());
  EXPECT_NE(world.settings().cameraGrants()[0].bookmark, bytesOf("old"));
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(model().connectedDevices->size(), 2U);
}

TEST_F(AppModelAccess, byABookmarkWithoutSecurityScopeIsUsableAndNeverStopped) {
  world.mount(camera);
  world.remember(camera);
  world.settings().setSecurityScopedBookmark(
      world.bookmarks.add("plain", {.url = camera.url, .hasSecurityScope = false}),
      world.settings().cameraGrants().at(0).id);
  world.launchAfterSetup();
  EXPECT_EQ(model().connectedDevices->size(), 1U);
  forget(camera);
  world.quit();
  EXPECT_FALSE(world.bookmarks.open.contains(camera.url));
}

TEST_F(AppModelAccess, endsWithTheModel) {
  launchWithTwoCameras();
  EXPECT_EQ(world.bookmarks.open.at(camera.url), 1);
  world.quit();
  EXPECT_EQ(world.bookmarks.open.at(camera.url), 0);
  EXPECT_EQ(world.bookmarks.open.at(card.url), 0);
}

TEST_F(AppModelAccess, thatCannotBeResolvedHidesTheCameraWithoutAnError) {
  world.mount(camera);
  world.remember(camera);
  world.bookmarks.known.clear();
  world.launchAfterSetup();
  EXPECT_TRUE(model().connectedDevices->empty());
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(status(), "Waiting for connection");
}

TEST_F(AppModelAccess, listsCamerasInTheOrderOfTheirMounts) {
  world.mount(card);
  world.mount(camera);
  world.remember(camera);
  world.remember(card);
  world.launchAfterSetup();
  ASSERT_EQ(model().connectedDevices->size(), 2U);
  EXPECT_EQ(model().connectedDevices->at(0).volumeURL, card.url);
  EXPECT_EQ(model().connectedDevices->at(1).volumeURL, camera.url);
}

}  // namespace
}  // namespace tolvander::tests
