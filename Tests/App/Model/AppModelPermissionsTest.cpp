#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Presentation/LibraryQuestion.h"

namespace tolvander::tests {
namespace {

using app::AppModel;
using app::NotificationAuthorizationStatus;
using app::NotificationPermissionStatus;
using app::PhotosAuthorizationStatus;
using app::PhotosPermissionStatus;
using Lines = std::vector<std::string>;

constexpr auto accessDenied = "Photos access was not granted.";

class AppModelPermissions : public testing::Test {
 protected:
  AppModelPermissions() {
    world.addPhoto(camera, "PICT0001.JPG", 1);
    world.mount(camera);
    world.remember(camera);
  }

  // A library that the user was never asked about.
  void launchUndecided() {
    world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::notDetermined});
    world.launch();
    world.start();
  }

  void requestPhotos(PhotosAuthorizationStatus answer) {
    world.photoLibrary.answerRequestForAuthorization(answer);
    model().requestPhotosAccess();
    world.runUntilIdle();
  }

  AppModel& model() { return world.model(); }
  std::string status() { return model().statusMessage; }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  const FileURL pictures{"/pictures/Tolvander"};
};

// What an earlier use of the library leaves behind.
struct Trace {
  std::string name;
  std::function<void(AppModelWorld&)> leave;
};

std::ostream& operator<<(std::ostream& stream, const Trace& trace) { return stream << trace.name; }

class AppModelMissingLibrary : public AppModelPermissions, public testing::WithParamInterface<Trace> {};

// MARK: Photos

TEST_F(AppModelPermissions, photosAccessThatIsGrantedReadsTheAlbums) {
  world.photoLibrary.addAlbum("Summer");
  launchUndecided();
  EXPECT_EQ(status(), "Photos access needed");
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::authorized);
  EXPECT_EQ(*model().availableAlbumNames, Lines{"Summer"});
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);  // setup is unfinished
}

TEST_F(AppModelPermissions, photosAccessThatIsNotGrantedIsNeeded) {
  for (const auto answer : {PhotosAuthorizationStatus::denied, PhotosAuthorizationStatus::restricted,
                            PhotosAuthorizationStatus::limited, PhotosAuthorizationStatus::notDetermined}) {
    launchUndecided();
    assign(model().statusMessage, "");
    requestPhotos(answer);
    EXPECT_EQ(model().photosPermissionStatus, app::photosPermissionStatus(answer));
    EXPECT_EQ(status(), "Photos access needed");
    EXPECT_TRUE(model().availableAlbumNames->empty());
  }
}

TEST_F(AppModelPermissions, libraryThatCannotBeMadeIsAFailureInItsOwnWords) {
  launchUndecided();
  world.photoLibrary.failRequestForAuthorization(
      std::make_exception_ptr(PosixError(ENOSPC, "write", FileURL("/pictures"))));
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(*model().lastError, "The disk is full: cannot write /pictures: No space left on device");
  EXPECT_EQ(status(), "Photos access needed");
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::notDetermined);
}

TEST_F(AppModelPermissions, failureOfARequestGoesWithTheNextRequest) {
  launchUndecided();
  world.photoLibrary.failRequestForAuthorization(
      std::make_exception_ptr(PosixError(ENOSPC, "write", FileURL("/pictures"))));
  requestPhotos(PhotosAuthorizationStatus::authorized);
  ASSERT_TRUE(model().lastError->has_value());
  world.photoLibrary.failRequestForAuthorization(nullptr);
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::authorized);
  EXPECT_EQ(*model().lastError, std::nullopt);
}

TEST_F(AppModelPermissions, photosAccessThatIsLostOnRequestSuspendsSetup) {
  world.launchAfterSetup();
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::limited});
  model().requestPhotosAccess();
  world.runUntilIdle();
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(status(), "Photos access needed");
}

TEST_F(AppModelPermissions, photosAccessThatIsGrantedAfterSetupSyncs) {
  world.launchAfterSetup();
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
  EXPECT_EQ(status(), "1 photo synced");
}

TEST_F(AppModelPermissions, photosAccessThatIsGrantedClearsItsOwnFailure) {
  launchUndecided();
  assign(model().lastError, accessDenied);
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(status(), "Waiting for connection");
}

TEST_F(AppModelPermissions, photosRequestIsLoggedWithItsAnswer) {
  world.application.comesToTheFront = false;  // a program without windows
  launchUndecided();
  requestPhotos(PhotosAuthorizationStatus::denied);
  EXPECT_EQ(world.logLines("permissionPromptStarted"),
            Lines{R"({"event":"permissionPromptStarted","metrics":{"activation_policy":-1,"app_active":0,)"
                  R"("main_thread":1,"window_key":0,"window_main":0,"workspace_frontmost":0}})"});
  EXPECT_EQ(world.logLines("permissionsChanged").back(),
            R"({"event":"permissionsChanged","metrics":{"photos_allowed":0,"photos_declined":1}})");
}

TEST_F(AppModelPermissions, photosAnswerThatChangesNothingIsNotLogged) {
  world.launchAfterSetup();
  const auto lines = world.logLines("permissionsChanged");
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(world.logLines("permissionsChanged"), lines);
}

// MARK: A library that isn't there yet

TEST_F(AppModelPermissions, newLibraryIsMadeWhereTheUserAgrees) {
  launchUndecided();
  world.photoLibrary.makeNewLibraryIn(pictures);
  world.dialogs.answers = {0};
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(world.dialogs.alerts, std::vector{app::newLibraryQuestion(pictures)});
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::authorized);
}

TEST_F(AppModelPermissions, newLibraryIsNotMadeWhereTheUserDeclines) {
  launchUndecided();
  world.photoLibrary.makeNewLibraryIn(pictures);
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(world.dialogs.alerts.size(), 1U);
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::notDetermined);
  EXPECT_EQ(status(), "Photos access needed");
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(world.logLines("permissionPromptStarted"), Lines{});
}

TEST_F(AppModelPermissions, libraryThatIsThereIsUsedWithoutAQuestion) {
  launchUndecided();
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_TRUE(world.dialogs.alerts.empty());
}

TEST_F(AppModelPermissions, secondRequestWaitsForTheQuestionOfTheFirst) {
  launchUndecided();
  world.photoLibrary.makeNewLibraryIn(pictures);
  world.dialogs.answers = {0, 1};
  world.dialogs.timeToAnswer = std::chrono::seconds(5);
  const auto first = model().requestPhotosAccess();
  world.runUntilIdle();
  EXPECT_EQ(model().requestPhotosAccess(), first);
  world.advance(std::chrono::seconds(5));
  EXPECT_EQ(world.dialogs.alerts.size(), 1U);
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::authorized);
  EXPECT_NE(model().requestPhotosAccess(), first);
}

TEST_P(AppModelMissingLibrary, isReplacedOnlyAfterItsOwnQuestion) {
  world.launch(PhotosPermissionStatus::notDetermined);
  GetParam().leave(world);
  launchUndecided();
  world.photoLibrary.makeNewLibraryIn(pictures);
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(world.dialogs.alerts, std::vector{app::replacedLibraryQuestion(pictures)});
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::notDetermined);
}

INSTANTIATE_TEST_SUITE_P(
    All, AppModelMissingLibrary,
    testing::Values(Trace{"complete setup", [](AppModelWorld& world) { world.completeSetup(); }},
                    Trace{"the result of a sync",
                          [](AppModelWorld& world) {
                            world.settings().setLastSyncReceipt(app::LastSyncReceipt{});
                          }},
                    Trace{"an imported file",
                          [](AppModelWorld& world) {
                            world.history().record(ImportRecord::make("source", "A.JPG", "DCIM/A.JPG", 1,
                                                                      Date(), "asset", false));
                          }},
                    Trace{"an import that was begun",
                          [](AppModelWorld& world) { world.history().beginImport({"source"}); }}));

TEST_F(AppModelPermissions, libraryThatGoesAwayWhileTheProgramRunsIsKnownToBeMissing) {
  world.launch(PhotosPermissionStatus::authorized);
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::notDetermined});
  world.run(model().refreshPermissionStatuses());
  world.photoLibrary.makeNewLibraryIn(pictures);
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_EQ(world.dialogs.alerts, std::vector{app::replacedLibraryQuestion(pictures)});
}

TEST_F(AppModelPermissions, historyThatCannotBeReadIsAFailureAndNoLibraryIsMade) {
  launchUndecided();
  writeFile(world.historyFile(), "{");
  launchUndecided();
  world.photoLibrary.makeNewLibraryIn(pictures);
  world.dialogs.answers = {0};
  requestPhotos(PhotosAuthorizationStatus::authorized);
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_EQ(model().photosPermissionStatus, PhotosPermissionStatus::notDetermined);
  EXPECT_EQ(*model().lastError,
            "Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. Contact "
            "support@tolvander.example for help.");
}

// MARK: The failure of a missing permission

TEST_F(AppModelPermissions, permissionErrorIsClearedByARefresh) {
  world.launchAfterSetup();
  assign(model().lastError, accessDenied);
  assign(model().statusMessage, "Sync needs attention");
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_FALSE(model().offersPhotoReview);
  EXPECT_EQ(status(), "Waiting for connection");
}

TEST_F(AppModelPermissions, permissionErrorGivesWayToAReceiptOnShow) {
  world.launchAfterSetup();
  assign(model().lastError, accessDenied);
  assign(model().statusReceipt,
         resultOnShow("1 photo synced", world.mainThread.wallNow(), app::StatusReceipt::whileMounted));
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(status(), "1 photo synced");
}

TEST_F(AppModelPermissions, everyOtherErrorIsLeftByARefresh) {
  world.launchAfterSetup();
  assign(model().lastError, "Photos could not complete the requested change.");
  assign(model().offersPhotoReview, true);
  assign(model().statusMessage, "Camera check incomplete");
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(*model().lastError, "Photos could not complete the requested change.");
  EXPECT_TRUE(model().offersPhotoReview);
  EXPECT_EQ(status(), "Camera check incomplete");
}

TEST_F(AppModelPermissions, permissionErrorStaysWhileAccessIsMissing) {
  world.launchAfterSetup();
  assign(model().lastError, accessDenied);
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::limited});
  world.run(model().refreshPermissionStatuses());
  EXPECT_EQ(*model().lastError, accessDenied);
  EXPECT_EQ(status(), "Photos access needed");
}

// MARK: Limited access

TEST_F(AppModelPermissions, limitedAccessBehavesAsNoAccess) {
  world.photoLibrary.addAlbum("Summer");
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::limited});
  world.completeSetup();
  world.launch();
  world.start(AppModel::FirstSync::whenSetupIsComplete);
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(status(), "Photos access needed");
  EXPECT_EQ(model().idleStatus(), "Photos access needed");
  EXPECT_FALSE(model().canStartFirstSync());
  EXPECT_TRUE(model().availableAlbumNames->empty());
  EXPECT_EQ(world.photoLibrary.creations().size(), 0U);
}

// MARK: Notifications

TEST_F(AppModelPermissions, notificationAnswerIsStoredAndLogged) {
  struct Row {
    NotificationAuthorizationStatus answer;
    NotificationPermissionStatus status;
    const char* metrics;
  };
  using From = NotificationAuthorizationStatus;
  using To = NotificationPermissionStatus;
  for (const Row& row : {
           Row{From::authorized, To::authorized, R"("notifications_allowed":1,"notifications_declined":0)"},
           Row{From::provisional, To::authorized, R"("notifications_allowed":1,"notifications_declined":0)"},
           Row{From::ephemeral, To::authorized, R"("notifications_allowed":1,"notifications_declined":0)"},
           Row{From::denied, To::denied, R"("notifications_allowed":0,"notifications_declined":1)"},
       }) {
    world.notifications.status = From::notDetermined;
    world.launch();
    world.start();
    const auto before = world.logLines("permissionsChanged").size();
    world.notifications.status = row.answer;
    model().requestNotificationPermission(model().beginPermissionRequest());
    world.runUntilIdle();
    EXPECT_EQ(model().notificationPermissionStatus, row.status);
    const auto lines = world.logLines("permissionsChanged");
    ASSERT_EQ(lines.size(), before + 1);
    EXPECT_EQ(lines.back(), std::string(R"({"event":"permissionsChanged","metrics":{)") + row.metrics + "}}");

    model().requestNotificationPermission(model().beginPermissionRequest());
    world.runUntilIdle();
    EXPECT_EQ(world.logLines("permissionsChanged").size(), before + 1);  // nothing changed
  }
  EXPECT_EQ(world.notifications.authorizationRequests, 8);
}

TEST_F(AppModelPermissions, notificationRequestThatFailsLeavesTheStatusToTell) {
  world.notifications.status = NotificationAuthorizationStatus::notDetermined;
  world.launchAfterSetup();
  world.notifications.failsToAsk = true;
  world.notifications.status = NotificationAuthorizationStatus::denied;
  model().requestNotificationPermission(model().beginPermissionRequest());
  world.runUntilIdle();
  EXPECT_EQ(model().notificationPermissionStatus, NotificationPermissionStatus::denied);
  EXPECT_EQ(*model().lastError, std::nullopt);
}

// MARK: What is told of the flows

class AppModelNotifications : public AppModelPermissions {
 protected:
  Lines shown() const {
    Lines texts;
    for (const auto& request : world.notifications.requests) {
      texts.push_back(request.title + "|" + request.body);
    }
    return texts;
  }

  void finishSetup() {
    world.launch();
    world.start();
    model().completeOnboardingAndSync();
    world.runUntilIdle();
  }
};

TEST_F(AppModelNotifications, tellOfTheFirstSyncFromItsBeginning) {
  finishSetup();
  EXPECT_EQ(shown(),
            (Lines{"Syncing your Charmera|Keep it connected. Tolvander will let you know when it’s finished.",
                   "1 photo synced|Added from your Charmera to Apple Photos."}));
}

TEST_F(AppModelNotifications, neverReplaceEachOther) {
  world.launchAfterSetup();
  for (int time = 0; time < 3; ++time) {
    model().checkNow();
    world.runUntilIdle();
  }
  ASSERT_EQ(shown().size(), 3U);
  EXPECT_EQ(shown()[1], "Charmera is up to date|Nothing new to sync.");
  EXPECT_EQ(shown()[2], shown()[1]);
  EXPECT_NE(world.notifications.requests[1].identifier, world.notifications.requests[2].identifier);
}

TEST_F(AppModelNotifications, areNotSentWithoutPermissionAndNoErrorShows) {
  world.notifications.status = NotificationAuthorizationStatus::denied;
  finishSetup();
  EXPECT_EQ(shown(), Lines());
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_EQ(*model().lastError, std::nullopt);
}

TEST_F(AppModelNotifications, areLostWhereTheyCannotBeDelivered) {
  world.notifications.fails = true;
  finishSetup();
  EXPECT_EQ(status(), "1 photo synced");
  EXPECT_EQ(*model().lastError, std::nullopt);
}

// Access is lost during the sync: the authorisation is not even asked for any more.
TEST_F(AppModelNotifications, areNotSentOnceSetupIsSuspended) {
  world.launchAfterSetup();
  const int queries = world.notifications.statusQueries;
  world.settings().setOnboardingCompleted(false);
  world.model().checkNow();
  world.model().ejectDevice({.volumeURL = camera.url, .displayName = "CHARMERA", .isCharmera = true});
  world.runUntilIdle();
  EXPECT_EQ(shown(), Lines());
  EXPECT_EQ(world.notifications.statusQueries, queries);
}

}  // namespace
}  // namespace tolvander::tests
