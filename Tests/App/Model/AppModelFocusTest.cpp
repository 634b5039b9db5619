#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Doubles/TestWindow.h"

namespace tolvander::tests {
namespace {

using app::NotificationAuthorizationStatus;
using app::PhotosAuthorizationStatus;
using std::chrono::milliseconds;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

const Lines focused = {
    R"({"event":"permissionFocusRecovery","metrics":{"app_active":1,"attempt":1,"window_key":1}})",
    R"({"event":"permissionFocusRecovery","metrics":{"result":0}})"};

// The window that asks for permissions, and what becomes of it.
class AppModelFocus : public testing::Test {
 protected:
  AppModelFocus() {
    world.addPhoto(camera, "PICT0001.JPG", 1);
    world.mount(camera);
    world.launchAfterSetup();
    window->visible = window->key = window->main = true;
    world.application.active = true;
    world.application.key = window;
    world.application.main = window;
    world.application.policy = app::ActivationPolicy::regular;
    world.application.calls.clear();
  }

  void takeFocus() {
    world.application.active = false;
    window->key = false;
  }

  Lines recoveries() const { return world.logLines("permissionFocusRecovery"); }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  std::shared_ptr<TestWindow> window = std::make_shared<TestWindow>(world.application);
};

TEST_F(AppModelFocus, isKeptByTheKeyWindowElseByTheMainOne) {
  const auto other = std::make_shared<TestWindow>(world.application);
  world.application.main = other;
  world.model().beginPermissionRequest();
  EXPECT_FALSE(window->hidesOnDeactivate);
  EXPECT_TRUE(other->hidesOnDeactivate);
  world.application.key = nullptr;
  world.model().beginPermissionRequest();
  EXPECT_FALSE(other->hidesOnDeactivate);
}

TEST_F(AppModelFocus, bringsAnInactiveProgramToTheFrontForTheRequest) {
  world.model().beginPermissionRequest();
  EXPECT_EQ(world.application.calls, Calls());
  world.application.active = false;
  world.model().beginPermissionRequest();
  EXPECT_EQ(world.application.calls, Calls{"activate"});
}

TEST_F(AppModelFocus, comesBackAfterThePhotosPrompt) {
  for (const auto answer : {PhotosAuthorizationStatus::authorized, PhotosAuthorizationStatus::denied}) {
    world.launch();
    world.start();
    world.photoLibrary.answerRequestForAuthorization(answer);
    world.model().requestPhotosAccess();
    takeFocus();
    world.runUntilIdle();
    EXPECT_TRUE(recoveries().empty());
    world.advance(milliseconds(300));
    EXPECT_EQ(recoveries(), focused);
    std::filesystem::remove_all(world.folder.url().appending("logs").path());
  }
}

TEST_F(AppModelFocus, comesBackWhereTheUserWantsNoNewLibrary) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::notDetermined});
  world.launch();
  world.start();
  world.photoLibrary.makeNewLibraryIn(FileURL("/home/user/Pictures"));
  world.model().requestPhotosAccess();  // whose question is answered with no
  takeFocus();
  world.advance(milliseconds(300));
  EXPECT_EQ(recoveries(), focused);
}

TEST_F(AppModelFocus, isOfTheWindowWhereThePhotosPromptIsRecorded) {
  world.application.frontmost = true;
  world.model().requestPhotosAccess();
  world.runUntilIdle();
  EXPECT_EQ(world.logLines("permissionPromptStarted"),
            Lines{R"({"event":"permissionPromptStarted","metrics":{"activation_policy":0,"app_active":1,)"
                  R"("main_thread":1,"window_key":1,"window_main":1,"workspace_frontmost":1}})"});
}

TEST_F(AppModelFocus, comesBackAfterTheNotificationPrompt) {
  const UUID requestID = world.model().beginPermissionRequest();
  world.model().requestNotificationPermission(requestID);
  takeFocus();
  world.advance(milliseconds(300));
  EXPECT_EQ(recoveries(), focused);
}

TEST_F(AppModelFocus, comesBackAfterAFailedNotificationPrompt) {
  world.notifications.failsToAsk = true;
  world.model().requestNotificationPermission(world.model().beginPermissionRequest());
  takeFocus();
  world.advance(milliseconds(300));
  EXPECT_EQ(recoveries(), focused);
}

TEST_F(AppModelFocus, staysWhereTheNotificationRequestIsNotTheLast) {
  const UUID requestID = world.model().beginPermissionRequest();
  world.model().beginPermissionRequest();
  world.model().requestNotificationPermission(requestID);
  takeFocus();
  world.advance(milliseconds(2000));
  EXPECT_TRUE(recoveries().empty());
}

TEST_F(AppModelFocus, comesBackAfterThePanelOfCameras) {
  for (const bool isCancelled : {false, true}) {
    if (!isCancelled) {
      world.dialogs.folders = {camera.url};
    }
    world.model().addDevice(std::nullopt, app::AppModel::AfterAdding::nothing);
    EXPECT_FALSE(window->hidesOnDeactivate);
    takeFocus();
    world.advance(milliseconds(300));
    EXPECT_EQ(recoveries(), focused);
    std::filesystem::remove_all(world.folder.url().appending("logs").path());
  }
}

}  // namespace
}  // namespace tolvander::tests
