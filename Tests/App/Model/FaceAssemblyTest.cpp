#include "TolvanderApp/FaceAssembly.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "Platform/MacOS/MacOSNames.h"
#include "Samples/Bytes.h"
#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "TolvanderApp/SettingsContents.h"
#include "TolvanderCore/Platform/DateText.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::AppModel;
using app::FaceState;
using app::FaceSurroundings;
using app::ShownDate;

// A saved and connected Charmera, after setup.
class FaceAssembly : public testing::Test {
 protected:
  FaceAssembly() {
    world.mount(camera);
    world.remember(camera);
    world.launchAfterSetup();
    surroundings.now = world.mainThread.wallNow();
  }

  AppModel& model() { return world.model(); }
  FaceState state() { return faceStateOf(model(), surroundings); }
  ShownDate shown(Date date, bool isToday) const {
    return {.time = timeText(date, surroundings.zone),
            .dateAndTime = dateAndTimeText(date, surroundings.zone),
            .isToday = isToday};
  }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  FaceSurroundings surroundings;
};

TEST_F(FaceAssembly, takesTheTextsOfTheStatus) {
  assign(model().statusMessage, "Camera up to date");
  assign(model().cameraCheckReceipts,
         {{camera.url.standardized(), syncReceipt("CHARMERA", 0, 0, surroundings.now)}});
  assign(model().collectedPhotoCount, 2);
  assign(model().collectedVideoCount, 1);
  const FaceState face = state();
  EXPECT_EQ(face.statusMessage, "Camera up to date");
  EXPECT_EQ(face.settingsStatusDetail, "CHARMERA");
  EXPECT_EQ(face.settingsStatusDate, shown(surroundings.now, true));
  EXPECT_EQ(face.settingsStatusSymbol, "checkmark.circle");
  EXPECT_EQ(face.collectedPhotosLabel, "2 photos and 1 video collected");
}

TEST_F(FaceAssembly, takesTheHelpOfAResult) {
  app::StatusReceipt receipt = resultOnShow("1 photo synced", surroundings.now, 120s);
  receipt.metadataSkippedCount = 1;
  assign(model().statusMessage, receipt.message);
  assign(model().statusReceipt, receipt);
  EXPECT_EQ(state().settingsStatusDetailHelp, receipt.duplicateHelp());
}

TEST_F(FaceAssembly, datesAreOfTodayInTheUsersZone) {
  const Date day{std::chrono::sys_days(std::chrono::year(2026) / 11 / 20)};
  assign(model().libraryReviewCompletedAt, day + 16h);
  surroundings.now = day + 14h;
  EXPECT_EQ(state().libraryReviewCompletedAt, shown(day + 16h, true));
  surroundings.zone = *TimeZone::named("Asia/Tokyo");  // where the review is of the 21st
  EXPECT_EQ(state().libraryReviewCompletedAt, shown(day + 16h, false));
}

TEST_F(FaceAssembly, takesEachFlagFromItsField) {
  struct Row {
    AppModel::Field<bool> AppModel::*field;
    bool FaceState::*shown;
  };
  for (const Row& row :
       {Row{&AppModel::isSyncing, &FaceState::isSyncing}, Row{&AppModel::isEjecting, &FaceState::isEjecting},
        Row{&AppModel::isUpdatingAlbum, &FaceState::isUpdatingAlbum},
        Row{&AppModel::isRequestingCameraAccess, &FaceState::isRequestingCameraAccess},
        Row{&AppModel::offersPhotoReview, &FaceState::offersPhotoReview},
        Row{&AppModel::showsCompletionCheckmark, &FaceState::showsCompletionCheckmark}}) {
    EXPECT_FALSE(state().*row.shown);
    assign(model().*row.field, true);
    EXPECT_TRUE(state().*row.shown);
    assign(model().*row.field, false);
  }
}

TEST_F(FaceAssembly, takesWhatTheSystemAllows) {
  assign(model().photosPermissionStatus, app::PhotosPermissionStatus::restricted);
  assign(model().notificationPermissionStatus, app::NotificationPermissionStatus::denied);
  assign(model().loginStatus, app::LoginItemStatus::requiresApproval);
  const FaceState face = state();
  EXPECT_EQ(face.photosPermissionStatus, app::PhotosPermissionStatus::restricted);
  EXPECT_EQ(face.notificationPermissionStatus, app::NotificationPermissionStatus::denied);
  EXPECT_EQ(face.loginStatus, app::LoginItemStatus::requiresApproval);
  EXPECT_TRUE(face.showsAttentionBadge);
}

TEST_F(FaceAssembly, takesTheFailureAndTheProgress) {
  assign(model().lastError, "This picture is damaged.");
  assign(model().lastErrorFile, "PICT0001.JPG");
  assign(model().syncPhase, SyncPhase::importing(3, 12));
  const FaceState face = state();
  EXPECT_EQ(face.lastError, "This picture is damaged.");
  EXPECT_EQ(face.lastErrorFile, "PICT0001.JPG");
  EXPECT_EQ(face.syncPhase, SyncPhase::importing(3, 12));
}

TEST_F(FaceAssembly, takesCamerasAndVolumes) {
  const FaceState face = state();
  EXPECT_EQ(face.connectedDevices, model().connectedDevices.value());
  EXPECT_EQ(face.connectedDevices.size(), 1U);
  EXPECT_TRUE(face.hasAvailableRemovableVolumes);
  EXPECT_TRUE(face.hasAuthorizedProfiles);
  EXPECT_EQ(face.cameraGrants, world.settings().cameraGrants());
  EXPECT_EQ(face.cameraGrants.size(), 1U);
  assign(model().availableRemovableVolumes, {});
  EXPECT_FALSE(state().hasAvailableRemovableVolumes);
  assign(model().removableVolumeAccessIssue, app::RemovableVolumeAccessIssue{.volumeName = "CARD"});
  EXPECT_EQ(state().removableVolumeAccessIssue, app::RemovableVolumeAccessIssue{.volumeName = "CARD"});
}

TEST_F(FaceAssembly, saysWhyTheSavedCamerasCanNotBeRead) {
  EXPECT_EQ(state().savedCameraAccessError, std::nullopt);
  world.defaults.setData("cameraAccessGrants", bytesOf("[{"));
  world.launch();
  ASSERT_TRUE(world.settings().savedCameraAccessError());
  EXPECT_EQ(state().savedCameraAccessError, world.settings().savedCameraAccessError());
  // Without a camera that can be read, setup is to be done again.
  const auto setup = std::get<app::SetupContents>(app::SettingsContents::of(state()).face);
  EXPECT_EQ(setup.camera.failure, world.settings().savedCameraAccessError());
}

TEST_F(FaceAssembly, countsWhatAReviewFound) {
  app::DeviceLibraryReview review = emptyReview(camera.url);
  review.review.newFiles = {anyMediaFile(camera.url)};
  assign(model().libraryReviews, {review});
  const app::ShownReview shownReview = {
      .volumeURL = camera.url, .cameraName = "CHARMERA", .counts = app::ReviewCounts::of(review)};
  EXPECT_EQ(state().libraryReviews, std::vector{shownReview});
}

TEST_F(FaceAssembly, takesListsAndUpdates) {
  assign(model().deviceTrashSummaries, {{.id = "1", .displayName = "CHARMERA", .count = 2}});
  assign(model().availableAlbumNames, {"Summer"});
  assign(model().availableUpdateVersion, "2.0");
  const FaceState face = state();
  EXPECT_EQ(face.deviceTrashSummaries, model().deviceTrashSummaries.value());
  EXPECT_EQ(face.availableAlbumNames, std::vector<std::string>{"Summer"});
  EXPECT_EQ(face.availableUpdateVersion, "2.0");
}

TEST_F(FaceAssembly, takesEachSettingFromItsOwn) {
  struct Row {
    void (app::AppSettings::*set)(bool);
    bool FaceState::*shown;
  };
  for (const Row& row : {Row{&app::AppSettings::setDeleteAfterSync, &FaceState::deleteAfterSync},
                         Row{&app::AppSettings::setAutoEjectAfterSync, &FaceState::autoEjectAfterSync},
                         Row{&app::AppSettings::setAddToAlbum, &FaceState::addToAlbum},
                         Row{&app::AppSettings::setOnboardingCompleted, &FaceState::onboardingCompleted}}) {
    (world.settings().*row.set)(false);
    EXPECT_FALSE(state().*row.shown);
    (world.settings().*row.set)(true);
    EXPECT_TRUE(state().*row.shown);
    (world.settings().*row.set)(false);
  }
  world.settings().setAlbumName("Summer");
  EXPECT_EQ(state().albumName, "Summer");
}

TEST_F(FaceAssembly, saysWhetherTheFirstSyncCanStart) {
  EXPECT_TRUE(state().canStartFirstSync);
  assign(model().connectedDevices, {});
  EXPECT_FALSE(state().canStartFirstSync);
}

TEST_F(FaceAssembly, takesItsSurroundings) {
  surroundings.updateReminder = {.version = "2.0", .needsAttention = true};
  surroundings.version.shortVersion = "1.4.2";
  surroundings.names = platform::macos::systemNames();
  surroundings.supportAddress = "help@example.org";
  const FaceState face = state();
  EXPECT_EQ(face.updateReminder, surroundings.updateReminder);
  EXPECT_EQ(face.version, surroundings.version);
  EXPECT_EQ(face.names, surroundings.names);
  EXPECT_EQ(face.supportAddress, "help@example.org");
}

}  // namespace
}  // namespace tolvander::tests
