#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/Trash/FreedesktopTrash.h"
#include "Tests/Support/Doubles/FakeBookmarks.h"
#include "Tests/Support/Doubles/FakeVolumes.h"
#include "Tests/Support/Doubles/ManualTimer.h"
#include "Tests/Support/Doubles/MemoryUserDefaults.h"
#include "Tests/Support/Doubles/RecordedNotifications.h"
#include "Tests/Support/Doubles/ScriptedDialogs.h"
#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"
#include "Tests/Support/Doubles/TestApplication.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "Tests/Support/Doubles/WatchedTrash.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/AppModel.h"

namespace tolvander::tests {

// A whole machine around the model: cameras are real folders that the test mounts and unmounts, the history,
// the staging and the Trash are real, everything else is a double, and time passes only where the test says
// so. Jobs run in turn on the test's thread.
class AppModelWorld {
 public:
  struct Camera {
    FileURL url;
    std::string name;

    FileURL file(std::string_view relativePath) const { return url.appending(relativePath); }
  };

  AppModelWorld();
  ~AppModelWorld();
  AppModelWorld(const AppModelWorld&) = delete;
  AppModelWorld& operator=(const AppModelWorld&) = delete;

  // MARK: Cameras

  // A folder that looks like a Charmera's card, or like any other card, without files.
  Camera makeCharmera(const std::string& name = "CHARMERA");
  Camera makeCard(const std::string& name);
  // A small picture that holds a date; pictures of different `content` are different pictures.
  void addPhoto(const Camera& camera, const std::string& name, int content);
  // Any bytes under any name in the card's media folder.
  void addFile(const Camera& camera, const std::string& name, std::string_view content);

  // Saves the access to a camera, as the panel would.
  void remember(const Camera& camera);
  void mount(const Camera& camera);
  void unmount(const Camera& camera);

  // MARK: The model

  // Makes the model anew, from what is stored: a new launch of the program.
  void launch(std::optional<app::PhotosPermissionStatus> status = std::nullopt);
  // Ends the program; what is stored stays.
  void quit();
  // `launch` with setup completed, and the start sequence run to its end.
  void launchAfterSetup();
  void completeSetup();
  void start(app::AppModel::FirstSync firstSync = app::AppModel::FirstSync::never);
  app::AppModel& model() { return *model_; }
  // For what is built around the model. The model and its services change with each launch.
  const std::shared_ptr<app::AppModel>& sharedModel() const { return model_; }
  const app::AppModel::Services& services() const { return services_; }
  app::Platform platform();
  app::AppSettings& settings() { return *services_.settings; }
  SyncHistoryStore& history() { return *services_.history; }

  // Starts the task, which begins with the next turn of the loop.
  template <typename T>
  void begin(app::Task<T> task) {
    testTasks_->start(std::move(task));
  }
  // Starts the task, and runs it as far as it goes without time passing.
  template <typename T>
  void run(app::Task<T> task) {
    begin(std::move(task));
    runUntilIdle();
  }
  void runUntilIdle() { mainThread.runUntilIdle(); }
  void advance(std::chrono::nanoseconds duration) { mainThread.advance(duration); }

  // Every value that the status line was given since this was asked for last, repetitions in a row left out.
  std::vector<std::string> takeStatuses();

  // Everything that has been recorded in the log so far, the oldest line first.
  std::string logText() const;

  // The lines in the log so far, without their times: all, or those of one event.
  std::vector<std::string> logLines(std::string_view event = {}) const;

  // Where files lie.
  FileURL historyFile() const { return folder.url().appending("history.json"); }
  FileURL stagingFolder() const { return folder.url().appending("staging"); }

  TemporaryFolder folder;
  VirtualMainThread mainThread;
  ManualTimer timer;
  ScriptedPhotoLibrary photoLibrary;
  FakeVolumes volumes;
  FakeBookmarks bookmarks;
  RecordedNotifications notifications;
  platform::linux_::FreedesktopTrash volumeTrash;
  WatchedTrash trash{volumeTrash};
  ScriptedEjector ejector;
  ScriptedDialogs dialogs;
  TestLoginItem loginItem;
  TestSystemSettings systemSettings;
  TestApplication application;
  MemoryUserDefaults defaults;

 private:
  app::AppModel::Services services_;
  std::shared_ptr<app::AppModel> model_;
  std::vector<std::string> statuses_;
  app::Subscription statusObserver_;
  std::unique_ptr<app::TaskScope> testTasks_;
};

}  // namespace tolvander::tests
