#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "Tests/Support/Application/TrashScene.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::tests {
namespace {

using app::AppModel;
using app::DeviceTrashSummary;
using app::NotificationAuthorizationStatus;
using app::NotificationPermissionStatus;
using app::PhotosAuthorizationStatus;
using app::PhotosPermissionStatus;
using app::StatusReceipt;
using Lines = std::vector<std::string>;

class AppModelRefresh : public testing::Test {
 protected:
  // The camera is saved and plugged in, setup is completed, nothing was synced.
  void launchReady() {
    world.mount(camera);
    world.remember(camera);
    world.launchAfterSetup();
    world.takeStatuses();
  }

  void writeUnreadableHistory() { writeFile(world.historyFile(), "{ not a history"); }

  // Two files of this card in its Trash.
  void moveTwoFilesToTrash(const AppModelWorld::Camera& from, const std::string& volumeName) {
    TrashScene scene(from.url);
    const std::vector files{scene.addPhoto("A.JPG", "one of " + volumeName),
                            scene.addPhoto("B.JPG", "two of " + volumeName)};
    const auto moved = scene.service.moveToTrash(files, from.url, *volumeResourceValues(from.url).uuid,
                                                 volumeName, scene.assets, scene.intentLog, {});
    ASSERT_EQ(moved.records.size(), 2U);
    world.history().addTrash(moved.records);
  }

  AppModel& model() { return world.model(); }
  std::string status() { return model().statusMessage; }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
};

// MARK: Connected devices

TEST_F(AppModelRefresh, ofDevicesTwiceAtOnceIsOneDiscoveryAndBothReturnAfterIt) {
  launchReady();
  std::vector<bool> seen;
  const auto observer = model().isRefreshingDevices.observe([&](bool value) { seen.push_back(value); });
  struct Caller {
    static app::Task<> of(AppModel* model, std::vector<std::size_t>* found) {
      auto refresh = model->refreshConnectedDevices();
      co_await refresh;
      found->push_back(model->connectedDevices->size());
    }
  };
  const auto card = world.makeCard("CARD");
  world.remember(card);
  world.mount(card);
  world.run(model().refreshTrashCount());  // resolves the new bookmark
  std::vector<std::size_t> found;
  app::TaskScope tasks(world.mainThread);
  tasks.start(Caller::of(&model(), &found));
  tasks.start(Caller::of(&model(), &found));
  world.runUntilIdle();
  EXPECT_EQ(found, (std::vector<std::size_t>{2, 2}));
  EXPECT_EQ(seen, (std::vector{true, false}));
}

TEST_F(AppModelRefresh, ofDevicesRecordsOnlyAChangedList) {
  launchReady();
  const std::string connected = R"({"event":"cameraConnectionChanged","metrics":{"connected":1}})";
  EXPECT_EQ(world.logLines("cameraConnectionChanged"), Lines{connected});
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(world.logLines("cameraConnectionChanged"), Lines{connected});
  world.unmount(camera);
  world.runUntilIdle();
  EXPECT_EQ(world.logLines("cameraConnectionChanged"),
            (Lines{connected, R"({"event":"cameraConnectionChanged","metrics":{"connected":0}})"}));
}

TEST_F(AppModelRefresh, ofDevicesDropsAVolumeThatLeftDuringTheDiscovery) {
  launchReady();
  app::TaskScope tasks(world.mainThread);
  tasks.start(model().refreshConnectedDevices());
  world.mainThread.runUntil([&] { return bool(model().isRefreshingDevices); });
  world.mainThread.post([&] { world.volumes.unmount(camera.url); });
  world.runUntilIdle();
  EXPECT_TRUE(model().connectedDevices->empty());
}

// At whatever question of the discovery to the mount table it is gone, of which nothing is told.
TEST_F(AppModelRefresh, ofDevicesDropsTheOneOfTwoThatLeftDuringTheDiscovery) {
  int question = 1;
  for (bool wasAsked = true; wasAsked; ++question) {
    AppModelWorld other;
    const auto leaving = other.makeCharmera();
    const auto staying = other.makeCard("CARD");
    for (const auto& each : {leaving, staying}) {
      other.remember(each);
      other.mount(each);
    }
    other.launchAfterSetup();
    ASSERT_EQ(other.model().connectedDevices->size(), 2U);
    int left = question;
    other.volumes.beforeAnswer = [&] {
      if (--left == 0) {
        other.volumes.takeAway(leaving.url);
      }
    };
    other.run(other.model().refreshConnectedDevices());
    wasAsked = left <= 0;
    ASSERT_EQ(other.model().connectedDevices->size(), wasAsked ? 1U : 2U) << "question " << question;
    EXPECT_EQ(other.model().connectedDevices->back().volumeURL, staying.url);
    EXPECT_EQ(*other.model().lastError, std::nullopt);
  }
  EXPECT_GT(question, 6) << "two lists, and two looks at each camera";
}

TEST_F(AppModelRefresh, ofDevicesGoesOnAfterAnErrorAndShowsIt) {
  const auto card = world.makeCard("CARD");
  world.mount(card);
  world.remember(card);
  launchReady();
  ASSERT_EQ(model().connectedDevices->size(), 2U);
  world.volumes.answersBeforeFailure = 1;  // the list is read, and the first volume is looked at in vain
  world.volumes.failures = {std::make_exception_ptr(CocoaError(CocoaError::Code::fileReadUnknown))};
  world.run(model().refreshConnectedDevices());
  ASSERT_EQ(model().connectedDevices->size(), 1U);
  EXPECT_EQ(model().connectedDevices->front().volumeURL, camera.url);
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(status(), "Sync needs attention");
}

TEST_F(AppModelRefresh, ofDevicesIsAFailureWhereTheMountTableCannotBeRead) {
  launchReady();
  world.volumes.isUnreadable = true;
  world.run(model().refreshConnectedDevices());
  EXPECT_TRUE(model().connectedDevices->empty());
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(status(), "Sync needs attention");
  EXPECT_FALSE(model().isRefreshingDevices);
  world.volumes.isUnreadable = false;
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(model().connectedDevices->size(), 1U);
}

TEST_F(AppModelRefresh, ofDevicesWithoutAProfileSaysWhatToConnect) {
  world.start();
  EXPECT_EQ(status(), "Waiting for connection");
  world.mount(camera);
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "Connect your Charmera");
  assign(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "Photos access needed");
}

TEST_F(AppModelRefresh, ofDevicesWithoutAProfileLeavesTheStatusOfAFlowAndOfAFailure) {
  world.start();
  assign(model().connectedDevices,
         std::vector{app::ConnectedDeviceSummary{
             .volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true}});
  assign(model().statusMessage, "as it was");
  assign(model().isSyncing, true);
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "as it was");
  EXPECT_TRUE(model().connectedDevices->empty());
  assign(model().isSyncing, false);
  assign(model().lastError, "It broke.");
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "as it was");
}

TEST_F(AppModelRefresh, ofDevicesLeavesTheStatusWhileACameraIsThere) {
  launchReady();
  assign(model().statusMessage, "as it was");
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "as it was");
}

TEST_F(AppModelRefresh, ofDevicesLeavesTheStatusOfWorkAndOfAFailure) {
  launchReady();
  world.volumes.unmount(camera.url);
  world.runUntilIdle();
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    assign(model().statusMessage, "as it was");
    world.run(model().refreshConnectedDevices());
    EXPECT_EQ(status(), "as it was");
    assign(*work, false);
  }
  assign(model().lastError, "It broke.");
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "as it was");
}

TEST_F(AppModelRefresh, ofDevicesWithoutACameraShowsTheStatusAtRestUnlessAResultIsOnShow) {
  launchReady();
  world.volumes.unmount(camera.url);
  world.runUntilIdle();
  assign(model().statusMessage, "as it was");
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "Waiting for connection");

  assign(model().statusMessage, "Ejected CHARMERA");
  assign(model().statusReceipt,
         resultOnShow("Ejected CHARMERA", world.mainThread.wallNow(), StatusReceipt::afterEject));
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "Ejected CHARMERA");

  assign(model().photosPermissionStatus, PhotosPermissionStatus::denied);
  world.run(model().refreshConnectedDevices());
  EXPECT_EQ(status(), "Photos access needed");
}

// MARK: Mounted volumes

TEST_F(AppModelRefresh, ofVolumesSortsThemAsAFileManagerDoes) {
  const auto at = [&](const std::string& name) { return world.folder.url().appending("V/" + name); };
  auto shared = FakeVolumes::card("SHARE");
  shared.isLocal = false;
  auto internal = FakeVolumes::card("DISK");
  internal.isInternal = true;
  world.volumes.mount(at("1"), FakeVolumes::card("card 10"));
  world.volumes.mount(at("2"), FakeVolumes::card("CARD 2"));
  world.volumes.mount(at("3"), shared);
  world.volumes.mount(at("4"), internal);
  world.volumes.mount(at("5"), std::nullopt);             // can't be read
  world.volumes.mount(at("Apple"), FakeVolumes::card());  // has no name
  world.volumes.mount(at("6"), FakeVolumes::card("CARD 2"));
  model().refreshMountedVolumes();
  EXPECT_EQ(*model().availableRemovableVolumes,
            (std::vector<app::RemovableVolumeSummary>{{.volumeURL = at("Apple"), .displayName = "Apple"},
                                                      {.volumeURL = at("2"), .displayName = "CARD 2"},
                                                      {.volumeURL = at("6"), .displayName = "CARD 2"},
                                                      {.volumeURL = at("1"), .displayName = "card 10"}}));
}

TEST_F(AppModelRefresh, ofVolumesIsAFailureWhereTheMountTableCannotBeRead) {
  launchReady();
  world.volumes.isUnreadable = true;
  model().refreshMountedVolumes();
  EXPECT_TRUE(model().availableRemovableVolumes->empty());
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(status(), "Sync needs attention");
}

TEST_F(AppModelRefresh, givesSummariesTheIdentityOfTheirStandardizedPath) {
  const FileURL spelt("/Volumes//CARD/../CARD/");
  EXPECT_EQ((app::ConnectedDeviceSummary{.volumeURL = spelt, .displayName = "CARD"}.id()), "/Volumes/CARD");
  EXPECT_EQ((app::RemovableVolumeSummary{.volumeURL = spelt, .displayName = "CARD"}.id()), "/Volumes/CARD");
}

// MARK: Trash

TEST_F(AppModelRefresh, ofTrashCountsTheFilesOfEachDevice) {
  const auto card = world.makeCard("CARD");
  world.mount(card);
  world.remember(card);
  launchReady();
  moveTwoFilesToTrash(camera, "CHARMERA");
  moveTwoFilesToTrash(card, "a card");
  world.run(model().refreshTrashCount());
  const std::string cameraID = *volumeResourceValues(camera.url).uuid;
  const std::string cardID = *volumeResourceValues(card.url).uuid;
  EXPECT_EQ(*model().deviceTrashSummaries,
            (std::vector<DeviceTrashSummary>{{.id = cardID, .displayName = "a card", .count = 2},
                                             {.id = cameraID, .displayName = "CHARMERA", .count = 2}}));

  // What was deleted by hand is not counted, nor what lies on a volume that isn't there.
  std::filesystem::remove(TrashScene(camera.url).inTrash("A.JPG").path());
  world.unmount(card);
  world.run(model().refreshTrashCount());
  EXPECT_EQ(*model().deviceTrashSummaries,
            (std::vector<DeviceTrashSummary>{{.id = cameraID, .displayName = "CHARMERA", .count = 1}}));
}

TEST_F(AppModelRefresh, ofTrashIsEmptyWithoutPhotosAccess) {
  launchReady();
  moveTwoFilesToTrash(camera, "CHARMERA");
  world.run(model().refreshTrashCount());
  ASSERT_EQ(model().deviceTrashSummaries->size(), 1U);
  assign(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  world.run(model().refreshTrashCount());
  EXPECT_TRUE(model().deviceTrashSummaries->empty());
}

TEST_F(AppModelRefresh, ofTrashShowsThatTheHistoryCannotBeRead) {
  writeUnreadableHistory();
  launchReady();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_FALSE(model().offersPhotoReview);
  EXPECT_EQ(status(), "Sync needs attention");
}

// MARK: Albums and counts

TEST_F(AppModelRefresh, ofAlbumNamesKeepsTheOldOnesWhereTheyCannotBeRead) {
  world.photoLibrary.addAlbum("Summer");
  launchReady();
  ASSERT_EQ(*model().availableAlbumNames, Lines{"Summer"});
  world.photoLibrary.addAlbum("Winter");
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.run(model().refreshAlbumNames());
  EXPECT_EQ(*model().availableAlbumNames, Lines{"Summer"});
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(world.takeStatuses(), Lines());
}

TEST_F(AppModelRefresh, ofAlbumNamesHasNoneWithoutPhotosAccess) {
  world.photoLibrary.addAlbum("Summer");
  launchReady();
  assign(model().photosPermissionStatus, PhotosPermissionStatus::denied);
  world.run(model().refreshAlbumNames());
  EXPECT_TRUE(model().availableAlbumNames->empty());
}

TEST_F(AppModelRefresh, ofHistoryCountsHasNoneAndNoMessageWhereTheyCannotBeRead) {
  writeUnreadableHistory();
  world.launch();
  assign(model().collectedPhotoCount, 1);
  assign(model().collectedVideoCount, 1);
  world.run(model().refreshPhotoHistoryCount());
  EXPECT_EQ(*model().collectedPhotoCount, std::nullopt);
  EXPECT_EQ(*model().collectedVideoCount, std::nullopt);
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(status(), "Waiting for connection");
}

TEST_F(AppModelRefresh, ofHistoryCountsGivesZeroForAnEmptyHistory) {
  world.run(model().refreshPhotoHistoryCount());
  EXPECT_EQ(*model().collectedPhotoCount, 0);
  EXPECT_EQ(*model().collectedVideoCount, 0);
  EXPECT_EQ(model().collectedPhotosLabel(), std::nullopt);
}

// MARK: Permissions

TEST_F(AppModelRefresh, ofPermissionsRecordsNotificationsOnlyWhenTheyChanged) {
  launchReady();
  const std::string allowed =
      R"({"event":"permissionsChanged","metrics":{"notifications_allowed":1,"notifications_declined":0}})";
  EXPECT_EQ(world.logLines("permissionsChanged").back(), allowed);
  const auto count = world.logLines("permissionsChanged").size();
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(world.logLines("permissionsChanged").size(), count);
  world.notifications.status = NotificationAuthorizationStatus::denied;
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(world.logLines("permissionsChanged").back(),
            R"({"event":"permissionsChanged","metrics":{"notifications_allowed":0,)"
            R"("notifications_declined":1}})");
}

TEST_F(AppModelRefresh, ofPermissionsReadsTheAlbumsOnlyWhenAccessHasCome) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.launch();
  world.start();
  world.photoLibrary.addAlbum("Summer");
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::authorized});
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(*model().availableAlbumNames, Lines{"Summer"});
  world.photoLibrary.addAlbum("Winter");
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(*model().availableAlbumNames, Lines{"Summer"});
}

TEST_F(AppModelRefresh, ofPermissionsRecordsThatPhotosAccessChanged) {
  launchReady();
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(world.logLines("permissionsChanged").back(),
            R"({"event":"permissionsChanged","metrics":{"photos_allowed":0,"photos_declined":1}})");
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::authorized});
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(world.logLines("permissionsChanged").back(),
            R"({"event":"permissionsChanged","metrics":{"photos_allowed":1,"photos_declined":0}})");
  EXPECT_FALSE(world.settings().onboardingCompleted());  // setup has to be gone through again
}

// MARK: Setup

TEST_F(AppModelRefresh, thatLosesAccessForgetsAllResults) {
  launchReady();
  const auto giveResults = [&] {
    assign(model().statusMessage, "1 photo synced");
    assign(model().statusReceipt,
           resultOnShow("1 photo synced", world.mainThread.wallNow(), StatusReceipt::whileMounted));
    assign(model().showsCompletionCheckmark, true);
    update(model().cameraCheckReceipts, [&](auto& receipts) { receipts[camera.url] = syncReceipt("C"); });
    assign(model().libraryReviews, std::vector{emptyReview(camera.url)});
    assign(model().libraryReviewCompletedAt, world.mainThread.wallNow());
    model().setStatusMenuOpen(false);  // begins the receipt's time
  };
  giveResults();
  world.runUntilIdle();
  ASSERT_NE(world.mainThread.untilNextTimer(), std::nullopt);
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.run(model().refreshPermissionStatuses());
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_TRUE(world.settings().onboardingNeedsAttention());
  EXPECT_EQ(world.logLines("setupSuspended"), Lines{R"({"event":"setupSuspended","metrics":{}})"});
  EXPECT_EQ(*model().statusReceipt, std::nullopt);
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_TRUE(model().cameraCheckReceipts->empty());
  EXPECT_TRUE(model().libraryReviews->empty());
  EXPECT_EQ(*model().libraryReviewCompletedAt, std::nullopt);
  EXPECT_EQ(world.mainThread.untilNextTimer(), std::nullopt);
  EXPECT_EQ(status(), "Photos access needed");

  giveResults();  // once setup is unfinished, there is nothing left to lose
  world.run(model().refreshPermissionStatuses());
  EXPECT_NE(*model().statusReceipt, std::nullopt);
  EXPECT_EQ(world.logLines("setupSuspended").size(), 1U);
}

TEST_F(AppModelRefresh, thatLosesAccessShowsThatSetupCouldNotBeStored) {
  launchReady();
  world.defaults.setFull(true);
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.run(model().refreshPermissionStatuses());
  EXPECT_TRUE(world.settings().onboardingCompleted());  // as it is stored
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(status(), "Photos access needed");
  model().checkNow();
  world.runUntilIdle();
  EXPECT_EQ(status(), "Photos access needed");  // nothing is synced all the same
  EXPECT_EQ(world.photoLibrary.fetches().size(), 0U);

  world.defaults.setFull(false);
  world.run(model().refreshPermissionStatuses());
  EXPECT_FALSE(world.settings().onboardingCompleted());
}

TEST_F(AppModelRefresh, markSetupExitedAsksForAttentionOnlyWhileSetupIsUnfinished) {
  world.start();
  EXPECT_FALSE(model().showsAttentionBadge());
  int changes = 0;
  const auto observer = model().changes.observe([&] { ++changes; });
  model().markSetupExited();
  world.runUntilIdle();
  EXPECT_TRUE(model().showsAttentionBadge());
  EXPECT_EQ(changes, 1);
  world.completeSetup();
  model().markSetupExited();
  EXPECT_FALSE(world.settings().onboardingNeedsAttention());
}

TEST_F(AppModelRefresh, markSetupExitedShowsThatItCouldNotBeStored) {
  world.start();
  world.defaults.setFull(true);
  model().markSetupExited();
  EXPECT_FALSE(world.settings().onboardingNeedsAttention());
  EXPECT_TRUE(model().lastError->has_value());
}

TEST_F(AppModelRefresh, firstSyncNeedsEveryCondition) {
  EXPECT_FALSE(model().canStartFirstSync());
  launchReady();
  EXPECT_TRUE(model().canStartFirstSync());

  assign(model().photosPermissionStatus, PhotosPermissionStatus::limited);
  EXPECT_FALSE(model().canStartFirstSync());
  assign(model().photosPermissionStatus, PhotosPermissionStatus::authorized);
  EXPECT_TRUE(model().canStartFirstSync());

  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    EXPECT_FALSE(model().canStartFirstSync());
    assign(*work, false);
    EXPECT_TRUE(model().canStartFirstSync());
  }

  assign(model().removableVolumeAccessIssue, app::RemovableVolumeAccessIssue{.volumeName = "CARD"});
  EXPECT_FALSE(model().canStartFirstSync());
  assign(model().removableVolumeAccessIssue, std::nullopt);

  const auto devices = *model().connectedDevices;
  assign(model().connectedDevices, {});
  EXPECT_FALSE(model().canStartFirstSync());
  assign(model().connectedDevices, devices);
  EXPECT_TRUE(model().canStartFirstSync());

  world.settings().removeProfile(world.settings().cameraGrants().front().id);
  EXPECT_FALSE(model().canStartFirstSync());
}

TEST_F(AppModelRefresh, firstSyncIsRefusedWhileASyncTaskHasNotEnded) {
  world.addPhoto(camera, "PICT0001.JPG", 1);
  launchReady();
  bool wasActiveWithoutSyncing = false;
  model().checkNow();
  world.mainThread.runUntil([&] {
    const bool isTaskOnly = !model().isSyncing && !model().isIdle();
    wasActiveWithoutSyncing = wasActiveWithoutSyncing || isTaskOnly;
    EXPECT_FALSE(isTaskOnly && model().canStartFirstSync());
    return false;
  });
  EXPECT_TRUE(wasActiveWithoutSyncing);
  EXPECT_TRUE(model().canStartFirstSync());
}

}  // namespace
}  // namespace tolvander::tests
