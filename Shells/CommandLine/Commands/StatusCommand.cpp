#include <iostream>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Platform/Linux/System/HomeLock.h"
#include "Platform/Linux/Text/LinuxNames.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/StatusReport.h"
#include "Shells/CommandLine/Session/HomeView.h"
#include "Shells/CommandLine/Session/ProgressLine.h"
#include "Shells/CommandLine/Syntax.h"
#include "TolvanderApp/Concurrency/TimerQueue.h"
#include "TolvanderApp/PausedImports.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::shell {

using namespace platform::linux_;

namespace {

struct History {
  std::optional<ImportHistorySummary> summary;  // absent where it can't be read
  app::PausedImports interrupted;
  std::vector<app::StatusReport::PausedFile> pausedFiles;  // those of `interrupted` that are found
};

// Where the library can't be read, no import is known to be finished by the next sync.
app::PausedImports interruptedImports(SyncHistoryStore& store, app::PhotoLibraryService& photos) {
  try {
    return app::PausedImports::of(store, photos);
  } catch (const Error&) {
    return {.finishedByNextSync = {}, .paused = store.pendingImportSources()};
  }
}

// The media files of a saved camera that is connected; none where it can't be read.
std::optional<DetectedDevice> deviceAt(const FileURL& volume, const app::StoredSettings& settings,
                                       const CancellationToken& token) {
  try {
    return MountedVolumeMediaSource().detect(volume, settings.authorizedDeviceProfiles(), token);
  } catch (const CancellationError&) {
    throw;
  } catch (const Error&) {
    return std::nullopt;
  }
}

// Takes the files of connected cameras out of `paused`.
std::vector<app::StatusReport::PausedFile> takePausedFiles(HomeView& view, SyncHistoryStore& store,
                                                           std::set<std::string>& paused, ProgressLine& line,
                                                           const CancellationToken& token) {
  std::vector<app::StatusReport::PausedFile> found;
  for (const app::CamerasReport::Camera& camera : view.cameras().cameras) {
    if (paused.empty() || !camera.volume) {
      continue;
    }
    const auto device = deviceAt(*camera.volume, view.settings(), token);
    if (!device) {
      continue;
    }
    const auto progress = [&](std::size_t number, std::size_t total) {
      line.show(app::pausedFileProgressText(device->displayName, number, total));
    };
    for (const CameraMediaFile& file :
         app::takePausedFiles(device->files, paused, store.records(), progress, token)) {
      found.push_back({.camera = device->displayName, .relativePath = file.relativePath});
    }
  }
  return found;
}

History historyOf(HomeView& view, app::PhotoLibrary& library, const Context& context) {
  SyncHistoryStore store(view.files().history);
  app::TimerQueue timer;
  app::PhotoLibraryService photos(library, timer, {});
  ProgressLine line(!context.json);
  try {
    History history{.summary = store.historySummary(),
                    .interrupted = interruptedImports(store, photos),
                    .pausedFiles = {}};
    for (const app::SetAsideFile& file : view.settings().setAsideFiles()) {
      history.interrupted.paused.erase(file.sha256.value_or(""));  // it doesn't hold up its card
    }
    history.pausedFiles =
        takePausedFiles(view, store, history.interrupted.paused, line, context.cancellation);
    return history;
  } catch (const CancellationError&) {
    throw;
  } catch (const Error&) {
    return {};
  }
}

std::optional<std::string> problemOf(EmbeddedPhotoLibrary& library) {
  try {
    library.requireCatalogue();
    return std::nullopt;
  } catch (const Error& error) {
    return app::failureText(error, systemNames());
  }
}

std::vector<std::string> pathsOf(const app::SetAsideFiles& files) {
  std::vector<std::string> paths;
  for (const app::SetAsideFile& file : files) {
    paths.push_back(file.relativePath);
  }
  return paths;
}

class StatusCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    return program.command("status",
                           "Show the state of cameras, imports and library, and where they are kept");
  }

  ExitStatus run(const Context& context) override {
    HomeView view(context);
    const HomeFiles& files = view.files();
    const app::StoredSettings& settings = view.settings();
    EmbeddedPhotoLibrary library(files.library);
    const History history = historyOf(view, library, context);
    const app::StatusReport report{
        .isSetUp = settings.onboardingCompleted(),
        .holder = HomeLock::holder(files.lock),
        .photos = app::photosPermissionStatus(library.authorizationStatus()),
        .cameras = view.cameras(),
        .history = history.summary,
        .finishedByNextSync = std::ssize(history.interrupted.finishedByNextSync),
        .pausedFiles = history.pausedFiles,
        .pausedElsewhere = std::ssize(history.interrupted.paused),
        .setAside = pathsOf(settings.setAsideFiles()),
        .lastSync = settings.lastSyncReceipt(),
        .album = settings.albumForSync(),
        .movesToTrash = settings.deleteAfterSync(),
        .ejects = settings.autoEjectAfterSync(),
        .historyFile = files.history,
        .settingsFile = files.settings,
        .libraryFolder = files.library,
        .libraryProblem = problemOf(library),
        .logFolder = files.log,
    };
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return ExitStatus::done;
  }
};

}  // namespace

std::unique_ptr<Command> makeStatusCommand() { return std::make_unique<StatusCommand>(); }

}  // namespace tolvander::shell
