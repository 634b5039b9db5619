#include "TolvanderApp/TolvanderApp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "Tests/Support/Doubles/RecordedStatusItem.h"
#include "Tests/Support/Doubles/TestScreen.h"
#include "Tests/Support/Doubles/TestUpdater.h"
#include "Tests/Support/Doubles/TestWindow.h"

namespace tolvander::tests {
namespace {

using app::ActivationPolicy;
using app::FaceAction;
using app::UpdateReminder;
using std::chrono::milliseconds;
using std::chrono::minutes;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

class TolvanderApp : public testing::Test {
 protected:
  // A program around the model of the world; its arguments are the world's.
  void make() {
    program.reset();
    updater = nullptr;
    window = nullptr;
    platform.emplace(world.platform());
    program = std::make_unique<app::TolvanderApp>(
        *platform,
        app::Screen{.statusItem = statusItem,
                    .panels = panels,
                    .fileViewer = fileViewer,
                    .clipboard = clipboard,
                    .makeSettingsWindow = [this] { return makeWindow(); },
                    .makeUpdater = [this](app::UpdaterDelegate& delegate) { return makeUpdater(delegate); }},
        world.sharedModel(), world.services().diagnosticLog, "help@example.org");
  }

  void launch(std::vector<std::string> arguments = {}) {
    world.application.givenArguments = std::move(arguments);
    make();
    program->willFinishLaunching();
    program->didFinishLaunching();
    world.runUntilIdle();
  }

  // A program in the background whose setup is complete and that has a camera.
  void launchReady() {
    world.remember(camera);
    world.mount(camera);
    world.completeSetup();
    world.launch();
    launch({"--background"});
    world.application.calls.clear();
  }

  std::shared_ptr<app::SettingsWindow> makeWindow() {
    ++windowsMade;
    window = std::make_shared<TestWindow>(world.application);
    return window;
  }

  std::unique_ptr<app::Updater> makeUpdater(app::UpdaterDelegate& delegate) {
    world.application.calls.emplace_back("updater");
    iconsBeforeUpdater = statusItem.iconsShown;
    modelRanBeforeUpdater = bool(world.application.didBecomeActive);  // which the model observes
    if (!hasUpdates) {
      return nullptr;
    }
    auto made = std::make_unique<TestUpdater>(delegate);
    made->checksAutomatically = checksAutomatically;
    updater = made.get();
    return made;
  }

  // What the updater reports when a scheduled check finds an update.
  void findUpdate(bool isUserInitiated = false) {
    updater->delegate.willHandleShowingUpdate("2.0", isUserInitiated);
    world.runUntilIdle();
  }

  bool hasMenuItem(const std::string& title) const {
    const auto titles = statusItem.titles();
    return std::ranges::count(titles, title) > 0;
  }

  // A result that stays for two minutes.
  void showResult() {
    assign(model().statusMessage, "1 photo synced");
    assign(model().statusReceipt, resultOnShow("1 photo synced", world.mainThread.wallNow(), minutes(2)));
    model().setStatusMenuOpen(false);  // begins its time
  }

  Lines presentations() const { return world.logLines("windowPresentationChanged"); }

  app::AppModel& model() { return world.model(); }

  AppModelWorld world;
  AppModelWorld::Camera camera = world.makeCharmera();
  std::optional<app::Platform> platform;
  RecordedStatusItem statusItem;
  OpenPanels panels;
  RecordedFileViewer fileViewer;
  TestClipboard clipboard;
  bool hasUpdates = true;
  bool checksAutomatically = false;
  int windowsMade = 0;
  int iconsBeforeUpdater = -1;
  bool modelRanBeforeUpdater = true;
  std::shared_ptr<TestWindow> window;  // null until it is made
  TestUpdater* updater = nullptr;      // of the program
  std::unique_ptr<app::TolvanderApp> program;
};

// MARK: Launch

class TolvanderAppLaunch : public TolvanderApp {};

TEST_F(TolvanderAppLaunch, showsTheProgramInTheDockUnlessItStartsInTheBackground) {
  struct Row {
    Lines arguments;
    const char* policy;
  };
  for (const Row& row : {Row{{}, "regular"}, Row{{"--background"}, "accessory"},
                         Row{{"--prepare-uninstall"}, "accessory"}, Row{{"--backgrounds"}, "regular"}}) {
    world.application.givenArguments = row.arguments;
    world.application.policy = ActivationPolicy::prohibited;
    world.application.calls.clear();
    make();
    program->willFinishLaunching();
    EXPECT_EQ(world.application.calls, Calls{row.policy});
  }
}

TEST_F(TolvanderAppLaunch, leavesAPolicyThatIsRightAlone) {
  world.application.policy = ActivationPolicy::regular;
  make();
  program->willFinishLaunching();
  EXPECT_EQ(world.application.calls, Calls());
}

TEST_F(TolvanderAppLaunch, endsOtherCopiesFirstAndStartsTheModelLast) {
  world.application.policy = ActivationPolicy::accessory;
  launch({"--background"});
  EXPECT_EQ(world.application.calls, (Calls{"terminateOtherRunningCopies", "updater"}));
  EXPECT_GE(statusItem.iconsShown, 1);
  EXPECT_EQ(iconsBeforeUpdater, 0);
  EXPECT_FALSE(modelRanBeforeUpdater);
  EXPECT_EQ(world.logLines("appLaunched").size(), 1U);
  EXPECT_TRUE(world.application.didBecomeActive);  // the model observes
}

TEST_F(TolvanderAppLaunch, showsTheStatusItemBeforeTheModelStarts) {
  make();
  program->didFinishLaunching();
  EXPECT_EQ(statusItem.iconsShown, 1);
  EXPECT_EQ(statusItem.titles(), (Lines{"Finish Setup…", "-", "Quit Tolvander"}));
}

TEST_F(TolvanderAppLaunch, opensTheWindowAQuarterOfASecondLater) {
  launch();
  world.advance(milliseconds(249));
  EXPECT_EQ(windowsMade, 0);
  world.advance(milliseconds(1));
  EXPECT_EQ(windowsMade, 1);
  EXPECT_TRUE(window->visible);
}

TEST_F(TolvanderAppLaunch, opensTheWindowAtOnceWhereTheWaitIsCancelled) {
  make();
  const auto opening = program->didFinishLaunching();
  world.advance(milliseconds(100));
  ASSERT_TRUE(opening.has_value());
  opening->cancel();
  world.runUntilIdle();
  EXPECT_EQ(windowsMade, 1);
}

TEST_F(TolvanderAppLaunch, opensNoWindowInTheBackground) {
  launch({"--background"});
  world.advance(std::chrono::hours(1));
  EXPECT_EQ(windowsMade, 0);
  EXPECT_EQ(world.application.policy, ActivationPolicy::accessory);
}

TEST_F(TolvanderAppLaunch, endsWithoutAWindowToPrepareAnUninstall) {
  world.loginItem.currentStatus = app::LoginItemStatus::enabled;
  launch({"--prepare-uninstall"});
  world.advance(std::chrono::hours(1));
  EXPECT_EQ(world.application.terminations, 1);
  EXPECT_EQ(world.loginItem.changes, std::vector{false});
  EXPECT_EQ(windowsMade, 0);
}

TEST_F(TolvanderAppLaunch, checksForUpdatesWhereTheUserWantsThat) {
  for (const bool isWanted : {false, true}) {
    checksAutomatically = isWanted;
    launch();
    EXPECT_EQ(updater->checksInBackground, isWanted ? 1 : 0);
    EXPECT_EQ(updater->checks, 0);
  }
}

TEST_F(TolvanderAppLaunch, worksWithoutAnUpdater) {
  hasUpdates = false;
  launch();
  world.advance(milliseconds(250));
  EXPECT_EQ(windowsMade, 1);
  program->perform({.kind = FaceAction::Kind::showAvailableUpdate});
}

TEST(UpdateConfiguration, needsAKeyAndAFeed) {
  using app::UpdateConfiguration;
  EXPECT_TRUE((UpdateConfiguration{.publicKey = "key", .feedURL = "https://example.org"}).isComplete());
  EXPECT_FALSE((UpdateConfiguration{.publicKey = "", .feedURL = "https://example.org"}).isComplete());
  EXPECT_FALSE((UpdateConfiguration{.publicKey = {}, .feedURL = "https://example.org"}).isComplete());
  EXPECT_FALSE((UpdateConfiguration{.publicKey = "key", .feedURL = {}}).isComplete());
}

// MARK: Reopening, front and end

class TolvanderAppLife : public TolvanderApp {
 protected:
  TolvanderAppLife() { launch({"--background"}); }
};

TEST_F(TolvanderAppLife, opensTheWindowWhenItIsLaunchedAgainWithoutOne) {
  program->handleReopen(true);
  EXPECT_EQ(windowsMade, 0);
  program->handleReopen(false);
  EXPECT_EQ(windowsMade, 1);
  EXPECT_TRUE(window->visible);
}

TEST_F(TolvanderAppLife, goesOnWithoutWindows) {
  EXPECT_FALSE(program->shouldTerminateAfterLastWindowClosed());
}

TEST_F(TolvanderAppLife, bringsTheWindowToTheFrontOnceTheProgramIsActive) {
  world.application.comesToTheFront = false;
  program->openSettings();
  world.application.calls.clear();
  world.application.active = true;
  program->didBecomeActive();
  EXPECT_EQ(world.application.calls, Calls{"makeKeyAndOrderFront"});
  program->didBecomeActive();  // once
  EXPECT_EQ(world.application.calls.size(), 1U);
}

TEST_F(TolvanderAppLife, leavesTheWindowWhereTheProgramWasActive) {
  world.application.active = true;
  program->openSettings();
  world.application.calls.clear();
  program->didBecomeActive();
  EXPECT_EQ(world.application.calls, Calls());
}

TEST_F(TolvanderAppLife, leavesAWindowThatIsNotOnTheScreen) {
  for (const bool isMiniaturized : {false, true}) {
    world.application.active = false;
    program->openSettings();
    window->visible = isMiniaturized;
    window->miniaturized = isMiniaturized;
    world.application.calls.clear();
    program->didBecomeActive();
    EXPECT_EQ(world.application.calls, Calls());
    window->visible = true;
    window->miniaturized = false;
    program->didBecomeActive();  // its chance is over
    EXPECT_EQ(world.application.calls, Calls());
  }
}

TEST_F(TolvanderAppLife, recordsNothingOfAWindowThatWasNeverMade) {
  program->didBecomeActive();
  program->didResignActive();
  EXPECT_TRUE(presentations().empty());
}

TEST_F(TolvanderAppLife, recordsHowTheWindowIsPresented) {
  program->openSettings();
  world.application.hidden = true;
  program->didBecomeActive();
  world.application.active = world.application.hidden = false;
  world.application.frontmost = true;
  window->visible = true;
  window->key = window->main = false;
  world.application.policy = std::nullopt;
  program->didResignActive();
  const auto line = [](const std::string& metrics) {
    return R"({"event":"windowPresentationChanged","metrics":{)" + metrics + "}}";
  };
  EXPECT_EQ(presentations(),
            (Lines{line(R"("activation_policy":0,"app_active":1,"app_hidden":0,"phase":0,"window_key":1,)"
                        R"("window_main":1,"window_visible":1,"workspace_frontmost":0)"),
                   line(R"("activation_policy":0,"app_active":1,"app_hidden":1,"phase":1,"window_key":1,)"
                        R"("window_main":1,"window_visible":1,"workspace_frontmost":0)"),
                   line(R"("activation_policy":-1,"app_active":0,"app_hidden":0,"phase":2,"window_key":0,)"
                        R"("window_main":0,"window_visible":1,"workspace_frontmost":1)")}));
}

TEST_F(TolvanderAppLife, asksForAttentionAfterAnEndInUnfinishedSetup) {
  EXPECT_FALSE(world.settings().onboardingNeedsAttention());
  program->willTerminate();
  EXPECT_TRUE(world.settings().onboardingNeedsAttention());
  const auto lines = world.logLines();
  EXPECT_EQ(lines.back(), R"({"event":"appTerminated","metrics":{}})");
}

TEST_F(TolvanderAppLife, endsWhenTheLogIsWritten) {
  for (int event = 0; event < 2000; ++event) {  // more than the log's thread can have written by then
    world.services().diagnosticLog->record(DiagnosticLog::Event::syncStarted);
  }
  program->willTerminate();
  EXPECT_NE(readFile(world.folder.url().appending("logs/Tolvander.log")).find("appTerminated"),
            std::string::npos);
}

TEST_F(TolvanderAppLife, endsOnce) {
  program->willTerminate();
  program->willTerminate();
  EXPECT_EQ(world.logLines("appTerminated").size(), 1U);
}

TEST_F(TolvanderAppLife, endsAlsoWithoutALog) {
  const std::string logs = world.folder.url().appending("logs").path();
  world.services().diagnosticLog->files();  // waits until the log's thread has written
  std::filesystem::remove_all(logs);
  writeFile(FileURL(logs), "in the way");
  program->willTerminate();
  EXPECT_TRUE(world.settings().onboardingNeedsAttention());
}

TEST_F(TolvanderAppLife, showsNotificationsInFrontOnceSetupIsComplete) {
  EXPECT_FALSE(program->presentsNotificationsInFront());
  world.completeSetup();
  EXPECT_TRUE(program->presentsNotificationsInFront());
}

TEST_F(TolvanderAppLife, endsHarmlesslyWhileTheWindowIsAboutToOpen) {
  launch();
  program.reset();
  world.advance(std::chrono::hours(1));
  EXPECT_EQ(windowsMade, 0);
}

// MARK: The window

class TolvanderAppWindow : public TolvanderApp {
 protected:
  TolvanderAppWindow() {
    launch({"--background"});
    world.application.calls.clear();
  }

  void close() {
    window->close();
    world.runUntilIdle();
  }
};

TEST_F(TolvanderAppWindow, isMadeOnceAndFittedThen) {
  program->openSettings();
  EXPECT_EQ(world.application.calls, (Calls{"regular", "makeKeyAndOrderFront", "orderFrontRegardless",
                                            "activate", "clearKeyboardFocus", "fitToContents"}));
  close();
  world.application.calls.clear();
  program->openSettings();
  EXPECT_EQ(windowsMade, 1);
  EXPECT_EQ(world.application.calls, (Calls{"regular", "makeKeyAndOrderFront", "orderFrontRegardless",
                                            "activate", "clearKeyboardFocus"}));
}

TEST_F(TolvanderAppWindow, drawsWhatTheModelAndTheSettingsSay) {
  program->openSettings();
  ASSERT_FALSE(window->shown.empty());
  EXPECT_TRUE(std::holds_alternative<app::SetupContents>(window->shown.back().face));
  world.completeSetup();
  world.runUntilIdle();
  EXPECT_TRUE(std::holds_alternative<app::PanelContents>(window->shown.back().face));
  assign(model().statusMessage, "1 photo synced");
  world.runUntilIdle();
  EXPECT_EQ(std::get<app::PanelContents>(window->shown.back().face).status.title, "1 photo synced");
}

TEST_F(TolvanderAppWindow, looksAtPermissionsAndTotalsWhenItIsMade) {
  world.runUntilIdle();
  ASSERT_EQ(*model().collectedPhotoCount, 0);
  assign(model().collectedPhotoCount, std::nullopt);
  world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::denied});
  program->openSettings();
  world.runUntilIdle();
  EXPECT_EQ(*model().collectedPhotoCount, 0);
  EXPECT_EQ(model().photosPermissionStatus, app::PhotosPermissionStatus::denied);
}

TEST_F(TolvanderAppWindow, isTitledAndStaysWhenAnotherProgramIsInFront) {
  program->openSettings();
  EXPECT_EQ(window->title, "Tolvander");
  EXPECT_FALSE(window->hidesOnDeactivate);
}

TEST_F(TolvanderAppWindow, leavesTheDockWhenItCloses) {
  program->openSettings();
  EXPECT_EQ(world.application.policy, ActivationPolicy::regular);
  window->close();
  EXPECT_EQ(world.application.policy, ActivationPolicy::regular);  // not while it is still on the screen
  world.runUntilIdle();
  EXPECT_EQ(world.application.policy, ActivationPolicy::accessory);
}

TEST_F(TolvanderAppWindow, staysInTheDockWhenItIsOpenedAgainAtOnce) {
  program->openSettings();
  window->close();
  program->openSettings();
  world.runUntilIdle();
  EXPECT_EQ(world.application.policy, ActivationPolicy::regular);
  EXPECT_FALSE(world.settings().onboardingNeedsAttention());
  EXPECT_EQ(window->observerCount(), 1U);  // of the last opening
}

TEST_F(TolvanderAppWindow, staysInTheDockWhenItOnlyGoesToTheTaskBar) {
  program->openSettings();
  window->miniaturized = true;
  close();
  EXPECT_EQ(world.application.policy, ActivationPolicy::regular);
}

TEST_F(TolvanderAppWindow, asksForAttentionWhenItClosesInUnfinishedSetup) {
  EXPECT_EQ(statusItem.icon.badgeSymbol, std::nullopt);
  program->openSettings();
  close();
  EXPECT_TRUE(world.settings().onboardingNeedsAttention());
  EXPECT_EQ(statusItem.icon.badgeSymbol, "exclamationmark.circle.fill");
  EXPECT_EQ(statusItem.icon.toolTip, "Tolvander needs attention");
}

TEST_F(TolvanderAppWindow, holdsAResultWhileItIsOpen) {
  launchReady();
  showResult();
  program->openSettings();
  world.advance(minutes(3));
  EXPECT_EQ(*model().statusMessage, "1 photo synced");
  close();
  EXPECT_NE(*model().statusMessage, "1 photo synced");
}

// MARK: Icon and menu

class TolvanderAppMenu : public TolvanderApp {};

TEST_F(TolvanderAppMenu, followsTheModel) {
  launchReady();
  assign(model().statusMessage, "Something new");
  EXPECT_FALSE(hasMenuItem("Something new"));  // in a later turn
  world.runUntilIdle();
  EXPECT_TRUE(hasMenuItem("Something new"));
  assign(model().isSyncing, true);
  world.runUntilIdle();
  EXPECT_EQ(statusItem.icon.toolTip, "Tolvander is syncing");
}

TEST_F(TolvanderAppMenu, followsTheSettings) {
  launch({"--background"});
  EXPECT_TRUE(hasMenuItem("Finish Setup…"));
  world.settings().setOnboardingCompleted(true);
  world.runUntilIdle();
  EXPECT_FALSE(hasMenuItem("Finish Setup…"));
}

TEST_F(TolvanderAppMenu, isDrawnOnceForSeveralChanges) {
  launchReady();
  const int icons = statusItem.iconsShown;
  const int menus = statusItem.menusShown;
  assign(model().statusMessage, "One");
  assign(model().statusMessage, "Two");
  world.runUntilIdle();
  EXPECT_EQ(statusItem.iconsShown, icons + 1);
  EXPECT_EQ(statusItem.menusShown, menus + 1);
}

TEST_F(TolvanderAppMenu, isDrawnNoMoreWhenTheProgramIsGone) {
  launchReady();
  program.reset();
  const int icons = statusItem.iconsShown;
  assign(model().statusMessage, "One");
  world.settings().setAlbumName("Summer");
  world.runUntilIdle();
  EXPECT_EQ(statusItem.iconsShown, icons);
}

TEST_F(TolvanderAppMenu, isMadeAgainWhenTheToolkitAsks) {
  launchReady();
  const int icons = statusItem.iconsShown;
  const int menus = statusItem.menusShown;
  program->menuNeedsUpdate();
  EXPECT_EQ(statusItem.menusShown, menus + 1);
  EXPECT_EQ(statusItem.iconsShown, icons);
}

TEST_F(TolvanderAppMenu, holdsAResultWhileItIsOpen) {
  launchReady();
  showResult();
  program->menuWillOpen();
  world.advance(minutes(3));
  EXPECT_EQ(*model().statusMessage, "1 photo synced");
  program->menuDidClose();
  EXPECT_NE(*model().statusMessage, "1 photo synced");
}

TEST_F(TolvanderAppMenu, opensTheWindowAndEndsTheProgram) {
  launch({"--background"});
  program->perform({.kind = FaceAction::Kind::openSettings});
  EXPECT_EQ(windowsMade, 1);
  EXPECT_EQ(world.application.terminations, 0);
  program->perform({.kind = FaceAction::Kind::quit});
  EXPECT_EQ(world.application.terminations, 1);
}

TEST_F(TolvanderAppMenu, ejectsACameraThatItStillOffers) {
  launchReady();
  ASSERT_EQ(statusItem.menu.menuDevices.size(), 1U);
  const FaceAction eject{.kind = FaceAction::Kind::ejectDevice,
                         .argument = statusItem.menu.menuDevices.at(0)};
  program->perform(eject);
  world.runUntilIdle();
  EXPECT_EQ(world.ejector.ejected, std::vector<FileURL>{camera.url});
}

TEST_F(TolvanderAppMenu, ignoresTheEjectOfACameraThatIsGone) {
  launchReady();
  ASSERT_EQ(statusItem.menu.menuDevices.size(), 1U);
  const FaceAction eject{.kind = FaceAction::Kind::ejectDevice,
                         .argument = statusItem.menu.menuDevices.at(0)};
  world.unmount(camera);
  world.runUntilIdle();
  program->perform(eject);
  world.runUntilIdle();
  EXPECT_TRUE(world.ejector.ejected.empty());
}

TEST_F(TolvanderAppMenu, reportsABug) {
  launch({"--background"});
  program->perform({.kind = FaceAction::Kind::reportBug});
  world.runUntilIdle();
  ASSERT_EQ(panels.shown.size(), 1U);
  EXPECT_EQ(panels.shown.at(0).message, "Report a bug");
  panels.press(1);
  EXPECT_EQ(clipboard.text, "help@example.org");
}

TEST_F(TolvanderAppMenu, handsTheRestToTheModel) {
  launchReady();
  program->perform({.kind = FaceAction::Kind::openPhotosSettings});
  EXPECT_EQ(world.systemSettings.requests.size(), 1U);
}

// MARK: Updates

class TolvanderAppUpdates : public TolvanderApp {
 protected:
  TolvanderAppUpdates() { launchReady(); }

  bool showsBadge() const { return statusItem.icon.toolTip == "Tolvander update available"; }
};

TEST_F(TolvanderAppUpdates, areShownByTheProgramItself) {
  EXPECT_TRUE(updater->delegate.supportsGentleScheduledUpdateReminders());
  EXPECT_FALSE(updater->delegate.shouldHandleShowingScheduledUpdate());
}

TEST_F(TolvanderAppUpdates, areShownInIconAndMenuUntilTheUserLooks) {
  findUpdate();
  EXPECT_EQ(program->updateReminder(), (UpdateReminder{.version = "2.0", .needsAttention = true}));
  EXPECT_EQ(*model().availableUpdateVersion, "2.0");
  EXPECT_TRUE(showsBadge());
  EXPECT_TRUE(hasMenuItem("Update Tolvander…"));
  updater->delegate.didReceiveUserAttention();
  EXPECT_EQ(program->updateReminder(), (UpdateReminder{.version = "2.0", .needsAttention = false}));
  EXPECT_EQ(*model().availableUpdateVersion, "2.0");
  EXPECT_FALSE(showsBadge());
  EXPECT_TRUE(hasMenuItem("Update Tolvander…"));
  updater->delegate.willFinishUpdateSession();
  EXPECT_EQ(program->updateReminder(), UpdateReminder());
  EXPECT_EQ(*model().availableUpdateVersion, std::nullopt);
  EXPECT_FALSE(hasMenuItem("Update Tolvander…"));
}

TEST_F(TolvanderAppUpdates, needNoAttentionWhereTheUserAskedForThem) {
  findUpdate(true);
  EXPECT_EQ(program->updateReminder(), (UpdateReminder{.version = "2.0", .needsAttention = false}));
  EXPECT_EQ(*model().availableUpdateVersion, "2.0");
  EXPECT_FALSE(showsBadge());
  EXPECT_TRUE(hasMenuItem("Update Tolvander…"));
}

TEST_F(TolvanderAppUpdates, endAReminderThatWasNotSeen) {
  findUpdate();
  updater->delegate.willFinishUpdateSession();
  EXPECT_FALSE(showsBadge());
  EXPECT_FALSE(program->updateReminder().needsAttention);
}

TEST_F(TolvanderAppUpdates, areOpenedWhereThereIsOneAndNoWorkRuns) {
  const FaceAction show{.kind = FaceAction::Kind::showAvailableUpdate};
  program->perform(show);
  EXPECT_EQ(updater->checks, 0);
  findUpdate();
  assign(model().isSyncing, true);
  program->perform(show);
  assign(model().isSyncing, false);
  assign(model().isEjecting, true);
  program->perform(show);
  assign(model().isEjecting, false);
  EXPECT_EQ(updater->checks, 0);
  program->perform(show);
  EXPECT_EQ(updater->checks, 1);
}

TEST_F(TolvanderAppUpdates, areHiddenDuringWork) {
  findUpdate();
  assign(model().isSyncing, true);
  world.runUntilIdle();
  EXPECT_FALSE(hasMenuItem("Update Tolvander…"));
  assign(model().isSyncing, false);
  world.runUntilIdle();
  EXPECT_TRUE(hasMenuItem("Update Tolvander…"));
}

TEST_F(TolvanderAppUpdates, restartTheProgramAtOnceWhereItIsIdle) {
  bool isRelaunched = false;
  EXPECT_FALSE(updater->delegate.shouldPostponeRelaunch([&] { isRelaunched = true; }));
  world.advance(std::chrono::hours(1));
  EXPECT_FALSE(isRelaunched);  // that is the updater's, then
}

TEST_F(TolvanderAppUpdates, restartTheProgramWhenTheEjectIsOver) {
  bool isRelaunched = false;
  assign(model().isEjecting, true);
  EXPECT_TRUE(updater->delegate.shouldPostponeRelaunch([&] { isRelaunched = true; }));
  world.advance(std::chrono::hours(1));
  EXPECT_FALSE(isRelaunched);
  EXPECT_EQ(world.mainThread.untilNextTimer(), std::nullopt);  // nothing is polled
  assign(model().isEjecting, false);
  world.runUntilIdle();
  EXPECT_TRUE(isRelaunched);
}

TEST_F(TolvanderAppUpdates, restartTheProgramWhenTheSyncIsOver) {
  bool isRelaunched = false;
  world.addPhoto(camera, "PICT0001.JPG", 1);
  model().checkNow();
  ASSERT_TRUE(world.mainThread.runUntil([&] { return model().isSyncing.value(); }));
  EXPECT_TRUE(updater->delegate.shouldPostponeRelaunch([&] {
    EXPECT_TRUE(model().isIdle());
    isRelaunched = true;
  }));
  EXPECT_FALSE(isRelaunched);
  world.runUntilIdle();
  EXPECT_TRUE(isRelaunched);
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
}

TEST_F(TolvanderAppUpdates, restartNoProgramThatIsGone) {
  bool isRelaunched = false;
  assign(model().isEjecting, true);
  updater->delegate.shouldPostponeRelaunch([&] { isRelaunched = true; });
  program.reset();
  assign(model().isEjecting, false);
  world.runUntilIdle();
  EXPECT_FALSE(isRelaunched);
}

}  // namespace
}  // namespace tolvander::tests
