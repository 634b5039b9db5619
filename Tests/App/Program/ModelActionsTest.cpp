#include "TolvanderApp/Program/ModelActions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelWorld.h"

namespace tolvander::tests {
namespace {

using app::FaceAction;
using app::SystemSettingsPane;
using Kind = FaceAction::Kind;
using Texts = std::vector<std::string>;

// What the user chooses, and what the model makes of it. One camera with one picture is plugged in.
class ModelActions : public testing::Test {
 protected:
  ModelActions() {
    world.addPhoto(camera, "PICT0001.JPG", 1);
    world.remember(camera);
    world.mount(camera);
    world.launchAfterSetup();
    world.takeStatuses();
  }

  void perform(Kind kind, FaceAction::Argument argument = {}) {
    app::performOnModel(world.model(), {.kind = kind, .argument = std::move(argument)});
    world.runUntilIdle();
  }

  // The first words of what the user was asked.
  Texts questions() const {
    Texts texts;
    for (const auto& alert : world.dialogs.alerts) {
      texts.push_back(alert.message);
    }
    return texts;
  }

  std::size_t importCount() { return world.photoLibrary.creations().size(); }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
};

TEST_F(ModelActions, requestPermissions) {
  perform(Kind::requestPhotosAccess);
  EXPECT_EQ(world.logLines("permissionPromptStarted").size(), 1U);
  perform(Kind::requestNotificationPermission);
  EXPECT_EQ(world.notifications.authorizationRequests, 1);
  EXPECT_EQ(world.application.calls, Texts{"activate"});  // the requests began
}

TEST_F(ModelActions, openTheSystemsSettingsAtTheirPanes) {
  const std::vector<std::pair<Kind, SystemSettingsPane>> rows = {
      {Kind::openPhotosSettings, SystemSettingsPane::photos},
      {Kind::openRemovableVolumeSettings, SystemSettingsPane::removableVolumes},
      {Kind::openNotificationSettings, SystemSettingsPane::notifications},
      {Kind::approveLoginItem, SystemSettingsPane::loginItems}};
  for (const auto& [kind, pane] : rows) {
    world.systemSettings.requests.clear();
    perform(kind);
    EXPECT_EQ(world.systemSettings.requests, std::vector<std::optional<SystemSettingsPane>>{pane});
  }
}

TEST_F(ModelActions, finishSetup) {
  world.settings().setOnboardingCompleted(false);
  perform(Kind::finishAndSync);
  EXPECT_TRUE(world.settings().onboardingCompleted());
  EXPECT_EQ(importCount(), 1U);
}

TEST_F(ModelActions, syncAndStop) {
  perform(Kind::checkNow);
  EXPECT_EQ(importCount(), 1U);
  world.addPhoto(camera, "PICT0002.JPG", 2);
  world.model().checkNow();
  ASSERT_TRUE(world.mainThread.runUntil([&] { return world.model().isSyncing.value(); }));
  perform(Kind::stopCheck);
  EXPECT_EQ(importCount(), 1U);
}

TEST_F(ModelActions, checkTheCameraAgainstPhotos) {
  perform(Kind::checkPhotos);
  ASSERT_EQ(world.model().libraryReviews->size(), 1U);
  EXPECT_EQ(importCount(), 0U);
}

TEST_F(ModelActions, useTheReviewOfTheirCamera) {
  perform(Kind::checkPhotos);
  perform(Kind::rememberMatches, camera.url);
  EXPECT_EQ(*world.model().statusMessage, "Matches saved");
  world.dialogs.answers = {0};
  perform(Kind::importMissingItems, camera.url);
  EXPECT_EQ(questions(), Texts{"Import 1 camera item into Photos?"});
  EXPECT_EQ(importCount(), 1U);
}

TEST_F(ModelActions, doNothingForACameraWithoutAReview) {
  perform(Kind::checkPhotos);
  world.takeStatuses();
  perform(Kind::rememberMatches, FileURL("/elsewhere"));
  perform(Kind::importMissingItems, FileURL("/elsewhere"));
  EXPECT_EQ(world.takeStatuses(), Texts());
  EXPECT_EQ(questions(), Texts());
}

TEST_F(ModelActions, ejectACamera) {
  perform(Kind::ejectDevice, world.model().connectedDevices->at(0));
  EXPECT_EQ(world.ejector.ejected, std::vector<FileURL>{camera.url});
}

TEST_F(ModelActions, changeSettings) {
  for (const bool value : {true, false}) {
    perform(Kind::setLaunchAtLogin, value);
    EXPECT_EQ(world.settings().launchAtLogin(), value);
    perform(Kind::setDeleteAfterSync, value);
    EXPECT_EQ(world.settings().deleteAfterSync(), value);
    perform(Kind::setAutoEjectAfterSync, value);
    EXPECT_EQ(world.settings().autoEjectAfterSync(), value);
    perform(Kind::setAddToAlbum, value);
    EXPECT_EQ(world.settings().addToAlbum(), value);
  }
}

TEST_F(ModelActions, chooseOrMakeAnAlbum) {
  perform(Kind::selectAlbum, std::string("Summer"));
  EXPECT_EQ(world.settings().albumName(), "Summer");
  perform(Kind::createAlbum);
  EXPECT_EQ(world.dialogs.prompts.size(), 1U);
}

TEST_F(ModelActions, clearTheTrashOfACamera) {
  perform(Kind::clearTrash, app::DeviceTrashSummary{.id = "VOLUME", .displayName = "CHARMERA", .count = 1});
  EXPECT_EQ(*world.model().statusMessage, "No tracked camera files to clear");
}

TEST_F(ModelActions, addAndForgetACamera) {
  perform(Kind::addDevice);
  EXPECT_EQ(world.dialogs.panels.size(), 1U);
  world.dialogs.answers = {0};
  perform(Kind::removeDevice, world.settings().cameraGrants().at(0).id);
  EXPECT_TRUE(world.settings().cameraGrants().empty());
}

TEST_F(ModelActions, leaveToTheProgramWhatIsNotTheModels) {
  for (const Kind kind : {Kind::openSettings, Kind::quit, Kind::showAvailableUpdate, Kind::reportBug}) {
    perform(kind);
  }
  EXPECT_EQ(world.takeStatuses(), Texts());
  EXPECT_EQ(world.application.terminations, 0);
  EXPECT_EQ(world.application.calls, Texts());
}

}  // namespace
}  // namespace tolvander::tests
