#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"

namespace tolvander::tests {
namespace {

using app::AppModel;
using app::LoginItemStatus;
using app::SystemSettingsPane;
using Requests = std::vector<std::optional<SystemSettingsPane>>;
using Lines = std::vector<std::string>;

class AppModelSystem : public testing::Test {
 protected:
  AppModelSystem() { world.launchAfterSetup(); }

  AppModel& model() { return world.model(); }

  AppModelWorld world;
};

// MARK: The system's settings

class AppModelSystemSettings : public AppModelSystem {};

TEST_F(AppModelSystemSettings, openAtThePaneThatIsAskedFor) {
  for (const SystemSettingsPane pane : {SystemSettingsPane::photos, SystemSettingsPane::removableVolumes,
                                        SystemSettingsPane::notifications, SystemSettingsPane::loginItems}) {
    world.systemSettings.requests.clear();
    model().openSystemSettings(pane);
    EXPECT_EQ(world.systemSettings.requests, Requests{pane});
  }
  EXPECT_EQ(*model().lastError, std::nullopt);
}

TEST_F(AppModelSystemSettings, openAtNoPlaceWhereThereIsNoSuchPane) {
  world.systemSettings.panes.clear();
  model().openSystemSettings(SystemSettingsPane::photos);
  EXPECT_EQ(world.systemSettings.requests, (Requests{SystemSettingsPane::photos, std::nullopt}));
  world.systemSettings.requests.clear();
  model().openSystemSettings(std::nullopt);
  EXPECT_EQ(world.systemSettings.requests, Requests{std::nullopt});
  EXPECT_EQ(*model().lastError, std::nullopt);
}

TEST_F(AppModelSystemSettings, openAtTheNotificationsElseAtNoPlace) {
  model().openNotificationSettings();
  EXPECT_EQ(world.systemSettings.requests, Requests{SystemSettingsPane::notifications});
  world.systemSettings.panes.clear();
  world.systemSettings.requests.clear();
  model().openNotificationSettings();
  EXPECT_EQ(world.systemSettings.requests, (Requests{SystemSettingsPane::notifications, std::nullopt}));
}

TEST_F(AppModelSystemSettings, areMissedInAFailure) {
  world.systemSettings.panes.clear();
  world.systemSettings.isInstalled = false;
  assign(model().offersPhotoReview, true);
  model().openSystemSettings(SystemSettingsPane::photos);
  EXPECT_EQ(*model().lastError, "System Settings could not be opened.");
  EXPECT_FALSE(model().offersPhotoReview);
}

// MARK: Launch at login

class AppModelLaunchAtLogin : public AppModelSystem {};

TEST_F(AppModelLaunchAtLogin, isSwitchedOnAndOff) {
  for (const bool enabled : {true, false}) {
    model().setLaunchAtLogin(enabled);
    EXPECT_EQ(model().loginStatus, enabled ? LoginItemStatus::enabled : LoginItemStatus::notRegistered);
    EXPECT_EQ(world.settings().launchAtLogin(), enabled);
  }
  EXPECT_EQ(world.loginItem.changes, (std::vector{true, false}));
  EXPECT_EQ(*model().lastError, std::nullopt);
}

TEST_F(AppModelLaunchAtLogin, isOnWhileTheSystemWaitsForTheUsersApproval) {
  world.loginItem.statusOnceEnabled = LoginItemStatus::requiresApproval;
  model().setLaunchAtLogin(true);
  EXPECT_EQ(model().loginStatus, LoginItemStatus::requiresApproval);
  EXPECT_TRUE(world.settings().launchAtLogin());
}

TEST_F(AppModelLaunchAtLogin, staysAsTheSystemHasItWhereItCannotBeChanged) {
  for (const bool isOn : {false, true}) {
    world.loginItem.currentStatus = isOn ? LoginItemStatus::enabled : LoginItemStatus::notRegistered;
    world.loginItem.fails = true;
    assign(model().offersPhotoReview, true);
    model().setLaunchAtLogin(!isOn);
    EXPECT_EQ(*model().lastError, "Launch at Login could not be changed: Access to the files was denied.");
    EXPECT_FALSE(model().offersPhotoReview);
    EXPECT_EQ(model().loginStatus, world.loginItem.currentStatus);
    EXPECT_EQ(world.settings().launchAtLogin(), isOn);
  }
}

TEST_F(AppModelLaunchAtLogin, logsAnOlderItemThatStaysAndShowsNoFailure) {
  world.loginItem.currentOlderStatus = LoginItemStatus::enabled;
  world.loginItem.olderFails = true;
  model().setLaunchAtLogin(true);
  EXPECT_TRUE(world.settings().launchAtLogin());
  EXPECT_EQ(*model().lastError, std::nullopt);
  EXPECT_EQ(world.logLines("operationFailed").size(), 1U);
}

TEST_F(AppModelLaunchAtLogin, followsTheSystem) {
  for (const LoginItemStatus status : {LoginItemStatus::enabled, LoginItemStatus::notRegistered,
                                       LoginItemStatus::requiresApproval, LoginItemStatus::notFound}) {
    const bool isOn = status == LoginItemStatus::enabled || status == LoginItemStatus::requiresApproval;
    world.loginItem.currentStatus = status;
    model().refreshLoginStatus();
    EXPECT_EQ(model().loginStatus, status);
    EXPECT_EQ(world.settings().launchAtLogin(), isOn);
  }
  EXPECT_TRUE(world.loginItem.changes.empty());
}

TEST_F(AppModelLaunchAtLogin, followsTheSystemWhenTheProgramComesToTheFront) {
  world.loginItem.currentStatus = LoginItemStatus::enabled;
  world.application.didBecomeActive();
  world.runUntilIdle();
  EXPECT_TRUE(world.settings().launchAtLogin());
}

// MARK: Updates

TEST_F(AppModelSystem, publishesTheVersionOfAnUpdate) {
  int changes = 0;
  const app::Subscription observation = model().changes.observe([&] { ++changes; });
  model().setAvailableUpdateVersion("2.0");
  world.runUntilIdle();
  EXPECT_EQ(*model().availableUpdateVersion, "2.0");
  EXPECT_EQ(changes, 1);
  model().setAvailableUpdateVersion(std::nullopt);
  EXPECT_EQ(*model().availableUpdateVersion, std::nullopt);
}

}  // namespace
}  // namespace tolvander::tests
