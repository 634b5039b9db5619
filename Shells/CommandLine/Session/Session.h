#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Platform/Linux/Settings/FileUserDefaults.h"
#include "Platform/Linux/System/EventLoop.h"
#include "Platform/Linux/System/HomeLock.h"
#include "Platform/Linux/Trash/FreedesktopTrash.h"
#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "Platform/Linux/Volumes/UDisksEjector.h"
#include "Platform/Linux/Volumes/VolumeBookmarks.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Session/ChosenVolumes.h"
#include "Shells/CommandLine/Session/HeadlessApplication.h"
#include "Shells/CommandLine/Session/HomeBackups.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Session/TerminalDialogs.h"
#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/Concurrency/TimerQueue.h"

namespace tolvander::shell {

// The application at work on one home, and all that it needs. A process has one, on its main thread, and
// the home is its own while it lives.
class Session {
 public:
  struct Options {
    std::vector<FileURL> volumes;     // only these are cameras; without any, every volume may be one
    app::SettingsOverrides settings;  // of this run
    TerminalDialogs::Answers answers;
    // Told of every notification, title and text, besides the desktop.
    std::function<void(const app::NotificationRequest&)> notified;
  };

  using Flow = std::function<app::Task<ExitStatus>(Session&)>;

  // Throws app::HomeInUseError, and other errors where the home can't be used.
  Session(const Context& context, Options options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  app::AppModel& model() { return *model_; }
  TerminalDialogs& dialogs() { return dialogs_; }
  SyncHistoryStore& history() { return *history_; }
  const HomeFiles& files() const { return files_; }

  // Runs the application until the flow has ended; once. At Ctrl-C it stops what the model does at the next
  // safe point, which ends the flow's waits. Throws what the flow throws.
  ExitStatus run(const Flow& flow);

  // Ctrl-C was pressed.
  bool isInterrupted() const { return interruption_.isCancelled(); }

  // Cancelled by Ctrl-C.
  const CancellationToken& interruption() const { return interruption_; }
  // For flows: waits for Ctrl-C.
  app::Task<> untilInterrupted();

 private:
  class Notifications;

  static app::Task<> runFlow(Session* self, Flow flow);
  app::Platform platform();
  void stop();

  const CancellationToken interruption_;
  const HomeFiles files_;
  platform::linux_::HomeLock lock_;
  platform::linux_::EventLoop loop_;
  app::TimerQueue timer_;
  platform::linux_::FileUserDefaults storedDefaults_;
  const std::shared_ptr<app::AppSettings> settings_;
  const std::shared_ptr<SyncHistoryStore> history_;
  const std::shared_ptr<DiagnosticLog> log_;
  HomeBackups backups_;
  platform::linux_::EmbeddedPhotoLibrary library_;
  platform::linux_::LinuxVolumes volumes_;
  ChosenVolumes chosenVolumes_;
  platform::linux_::VolumeBookmarks bookmarks_;
  std::unique_ptr<Notifications> notifications_;
  platform::linux_::FreedesktopTrash trash_;
  platform::linux_::UDisksEjector ejector_;
  TerminalDialogs dialogs_;
  HeadlessApplication application_;
  NoLoginItem loginItem_;
  NoSystemSettings systemSettings_;
  std::shared_ptr<app::AppModel> model_;  // after all that it uses

  ExitStatus status_ = ExitStatus::failed;
  std::exception_ptr failure_;
};

}  // namespace tolvander::shell
