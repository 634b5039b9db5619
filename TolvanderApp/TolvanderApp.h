#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/FaceAction.h"
#include "TolvanderApp/Platform/Updater.h"
#include "TolvanderApp/PrimaryWindowActivation.h"
#include "TolvanderApp/Program/BugReportController.h"
#include "TolvanderApp/SettingsWindow.h"
#include "TolvanderApp/StatusItem.h"
#include "TolvanderApp/UpdateReminder.h"

namespace tolvander::app {

// What a program with a window is drawn with, besides what the model needs. A shell fills it, and keeps it
// all alive for as long as the program.
struct Screen {
  StatusItem& statusItem;
  AlertPanels& panels;
  FileViewer& fileViewer;
  Clipboard& clipboard;
  // Makes the window, not yet shown, where the user left it or in the middle of the screen. Called once.
  std::function<std::shared_ptr<SettingsWindow>()> makeSettingsWindow;
  // Starts the updater. Null where the program was built without what it needs, see UpdateConfiguration.
  // Called once.
  std::function<std::unique_ptr<Updater>(UpdaterDelegate&)> makeUpdater;
};

// A program with a status item and one window: what it does when it is launched, is launched again, comes to
// the front, loses its window and ends. A shell calls these operations where its toolkit reports such an
// event. All else is the model's. Main thread only.
class TolvanderApp final : private UpdaterDelegate {
 public:
  // What `platform` and `screen` refer to outlives the program. `supportAddress` is where bug reports go. A
  // system whose home is locked by one copy ends the other copies and waits for the lock before it makes the
  // model; the launch finds none then.
  TolvanderApp(const Platform& platform, Screen screen, std::shared_ptr<AppModel> model,
               std::shared_ptr<DiagnosticLog> log, std::string supportAddress);

  // Launch, in this order. With the argument "--background", and with "--prepare-uninstall", which ends the
  // program at once, no window opens.
  void willFinishLaunching();
  // Ends other copies of the program, so that an updated one replaces the one that runs. Shows the status
  // item and starts the model. Gives the task that opens the window 0.25 s later, at once when it is
  // cancelled; absent where no window opens.
  std::optional<TaskHandle> didFinishLaunching();

  // The program goes on with its status item.
  bool shouldTerminateAfterLastWindowClosed() const { return false; }
  // The user has launched the program while it runs. Opens the window where none is visible.
  void handleReopen(bool hasVisibleWindows);
  void didBecomeActive();
  void didResignActive();
  // The program is about to end. Blocks until the log is written.
  void willTerminate();

  // Whether a notification is shown, and heard, while the program is in front.
  bool presentsNotificationsInFront() const;

  // Shows the window, which is made the first time.
  void openSettings();

  // The menu is kept up to date while it is closed and while it is open. A toolkit that asks for it before it
  // opens it gets it again.
  void menuNeedsUpdate();
  void menuWillOpen();
  void menuDidClose();

  // What the user has chosen in the menu or in the window. An eject of a camera that the menu no longer
  // offers does nothing. An update is shown only while no flow and no eject runs.
  void perform(const FaceAction& action);

  const UpdateReminder& updateReminder() const { return updateReminder_; }

 private:
  // UpdaterDelegate
  bool supportsGentleScheduledUpdateReminders() const override { return true; }
  bool shouldHandleShowingScheduledUpdate() const override { return false; }
  void willHandleShowingUpdate(std::string version, bool isUserInitiated) override;
  void didReceiveUserAttention() override;
  void willFinishUpdateSession() override;
  bool shouldPostponeRelaunch(std::function<void()> relaunch) override;

  // Why the window's state is recorded in the log; the log's numbers.
  enum class Phase { opened = 0, becameActive = 1, resignedActive = 2 };

  bool startsInBackground() const;
  bool applyPolicy(ActivationPolicy policy);
  void installUpdater();
  void installStatusItem();
  FaceState faceState() const;
  void redraw();
  void redrawMenu(const FaceState& state);
  void publishUpdate();
  void ejectDevice(const ConnectedDeviceSummary& device);
  void showAvailableUpdate();
  Task<> openSettingsAfterLaunch();
  Task<> handleClosedSettings(UUID generation);
  static Task<> relaunchWhenIdle(std::shared_ptr<AppModel> model, std::function<void()> relaunch);
  void recordPresentation(Phase phase);

  const Platform platform_;
  const Screen screen_;
  const std::shared_ptr<AppModel> model_;
  const std::shared_ptr<DiagnosticLog> log_;
  const std::string supportAddress_;
  PrimaryWindowActivation activation_;
  BugReportController bugReport_;
  UpdateReminder updateReminder_;
  MenuContents menu_;                         // as it is shown
  std::shared_ptr<SettingsWindow> window_;    // null until it is needed
  bool refocusSettingsOnActivation_ = false;  // the window was opened while the program was not active
  Subscription modelObservation_;
  Subscription settingsObservation_;
  Subscription closeObservation_;
  bool hasEnded_ = false;
  std::unique_ptr<Updater> updater_;  // null without updates; after all that its delegate uses
  TaskScope tasks_;                   // last: its tasks use everything above
};

}  // namespace tolvander::app
