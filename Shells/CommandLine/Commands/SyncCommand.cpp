#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Conclusion.h"
#include "Shells/CommandLine/Reports/SyncReport.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Session/SetupFlow.h"
#include "Shells/CommandLine/Session/SyncDisplay.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

using app::SyncReport;
using app::Task;

// What the flow needs, without which it would have to take references.
struct SyncRun {
  Session& session;
  const std::vector<FileURL>& volumes;
  bool agrees;
};

using Failure = std::optional<app::RunFailure>;

// The model has the words for why nothing was synced.
bool isKnownToTheModel(const app::AppModel& model) {
  return model.lastError->has_value() || model.removableVolumeAccessIssue->has_value() ||
         model.photosPermissionStatus != app::PhotosPermissionStatus::authorized;
}

// Syncs every chosen camera once, and gives why it couldn't, where the model doesn't know that.
Task<Failure> syncOnce(SyncRun run) {
  auto& [session, volumes, agrees] = run;
  app::AppModel& model = session.model();
  bool hasSynced = false;
  for (const FileURL& volume : volumes) {
    if (isConnected(model, volume) || session.isInterrupted()) {
      continue;
    }
    const bool syncsWhenAdded = model.settings().onboardingCompleted();
    auto adding = addCamera(&session, volume);
    const bool isAdded = co_await adding;
    if (!isAdded) {
      co_return isKnownToTheModel(model) ? Failure() : app::RunFailure{app::notRememberedText(volume)};
    }
    if (!isConnected(model, volume) && !model.cameraWentAway) {
      co_return isKnownToTheModel(model) ? Failure() : app::RunFailure{app::notACameraText(volume)};
    }
    hasSynced = syncsWhenAdded;
  }
  if (session.isInterrupted() || hasSynced) {
    co_return std::nullopt;
  }
  const bool hadCamera = !model.connectedDevices->empty();
  if (model.settings().onboardingCompleted() || !hadCamera) {
    auto syncing = model.syncAllConnected(false);
    co_await syncing;
  } else {
    auto completing = completeSetup(&session);
    co_await completing;
  }
  if (!model.cameraRuns->empty() || model.cameraWentAway || isKnownToTheModel(model) ||
      session.isInterrupted()) {
    co_return std::nullopt;
  }
  co_return hadCamera ? app::cameraWentAway() : app::noCameraConnected();
}

Task<Failure> syncIfPossible(SyncRun run) {
  if (run.volumes.empty() && run.session.model().settings().authorizedDeviceProfiles().empty()) {
    co_return app::noCameraSaved();
  }
  auto preparing = prepareLibrary(&run.session, run.agrees);
  const bool hasLibrary = co_await preparing;
  if (!hasLibrary || run.session.isInterrupted()) {
    co_return std::nullopt;
  }
  auto syncing = syncOnce(run);
  co_return co_await syncing;
}

class SyncCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command =
        program.command("sync", "Bring new photos and videos from cameras into the photo library");
    command.values("VOLUME", volumes_,
                   "Mount points, or any folders, of cameras (default: all saved cameras)");
    command.value("--album", album_, "Put the items into this album").typeName("NAME");
    command.value("--trash", trash_, "Whether synced files are moved to the Trash (default: as set)")
        .typeName("ask|yes|no")
        .oneOf({"ask", "yes", "no"});
    command.flag("--eject", ejects_, "Eject each camera after its sync");
    command.flag("--yes", agrees_, "Remember new cameras, and make the photo library, without asking");
    return command;
  }

  ExitStatus run(const Context& context) override {
    std::vector<FileURL> volumes;
    for (const std::string& volume : volumes_) {
      volumes.push_back(existingFolder(volume));
    }
    Session session(context, {.volumes = volumes,
                              .settings = settingsOfThisRun(),
                              .answers = {.agreesToAlerts = trash_ == "yes",
                                          .optionForAlerts = "--trash yes",
                                          .agreesToFolder = agrees_},
                              .notified = {}});
    return session.run([&](Session& running) {
      return sync({.session = running, .volumes = volumes, .agrees = agrees_}, context.json);
    });
  }

 private:
  RunDefaults::Values settingsOfThisRun() const {
    RunDefaults::Values values;
    if (album_) {
      values.emplace("addToAlbum", true);
      values.emplace("albumName", *album_);
    }
    if (!trash_.empty()) {
      values.emplace("deleteAfterSync", trash_ != "no");
    }
    if (ejects_) {
      values.emplace("autoEjectAfterSync", true);
    }
    return values;
  }

  static Task<ExitStatus> sync(SyncRun run, bool json) {
    Session& session = run.session;
    const SyncDisplay display(session.model(), json);
    const app::SyncRecorder recorder(session.model(), session.files().library);
    auto starting = startUp(&session);
    co_await starting;
    auto running = syncIfPossible(run);
    Failure failure = co_await running;
    const SyncReport report = recorder.report(session.isInterrupted(), std::move(failure));
    std::cout << (json ? report.json() + "\n" : report.text());
    co_return conclude(report.outcome, report.failure);
  }

  std::vector<std::string> volumes_;
  std::optional<std::string> album_;
  std::string trash_;
  bool ejects_ = false;
  bool agrees_ = false;
};

}  // namespace

std::unique_ptr<Command> makeSyncCommand() { return std::make_unique<SyncCommand>(); }

}  // namespace tolvander::shell
