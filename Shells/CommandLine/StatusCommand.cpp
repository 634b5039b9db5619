#include <CLI/CLI.hpp>
#include <iostream>

#include "Platform/Linux/HomeLock.h"
#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/HomeView.h"
#include "TolvanderApp/Presentation/StatusReport.h"
#include "TolvanderCore/Platform/Text.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::shell {

using namespace platform::linux_;

namespace {

struct History {
  std::optional<ImportHistorySummary> summary;  // absent where it can't be read
  std::int64_t pausedImports = 0;
};

History historyOf(const FileURL& file) {
  SyncHistoryStore store(file);
  try {
    return {.summary = store.historySummary(),
            .pausedImports = static_cast<std::int64_t>(store.pendingImportSources().size())};
  } catch (const Error&) {
    return {};
  }
}

std::vector<std::string> pathsOf(const app::SetAsideFiles& files) {
  std::vector<std::string> paths;
  for (const app::SetAsideFile& file : files) {
    paths.push_back(file.relativePath);
  }
  return paths;
}

std::optional<std::string> albumOf(const app::AppSettings& settings) {
  const std::string name(trimmingWhitespaceAndNewlines(settings.albumName()));
  return settings.addToAlbum() && !name.empty() ? std::optional(name) : std::nullopt;
}

class StatusCommand final : public Command {
 public:
  CLI::App* declare(CLI::App& application) override {
    return application.add_subcommand("status", "Show how everything stands, and where it is kept");
  }

  ExitStatus run(const Context& context) override {
    HomeView view(context);
    const HomeFiles& files = view.files();
    const app::AppSettings& settings = view.settings();
    EmbeddedPhotoLibrary library(files.library);
    const History history = historyOf(files.history);
    const app::StatusReport report{
        .isSetUp = settings.onboardingCompleted(),
        .holder = HomeLock::holder(files.lock),
        .photos = app::photosPermissionStatus(library.authorizationStatus()),
        .cameras = view.cameras(),
        .history = history.summary,
        .pausedImports = history.pausedImports,
        .setAside = pathsOf(settings.setAsideFiles()),
        .lastSync = settings.lastSyncReceipt(),
        .album = albumOf(settings),
        .movesToTrash = settings.deleteAfterSync(),
        .ejects = settings.autoEjectAfterSync(),
        .historyFile = files.history,
        .settingsFile = files.settings,
        .libraryFolder = files.library,
        .logFolder = files.log,
    };
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return ExitStatus::done;
  }
};

}  // namespace

std::unique_ptr<Command> makeStatusCommand() { return std::make_unique<StatusCommand>(); }

}  // namespace tolvander::shell
