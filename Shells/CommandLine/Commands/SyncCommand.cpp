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
    return session.run([&](Session& running) { return sync(&running, volumes, context.json); });
  }

 private:
  app::SettingsOverrides settingsOfThisRun() const {
    return {.deleteAfterSync = trash_.empty() ? std::nullopt : std::optional(trash_ != "no"),
            .autoEjectAfterSync = ejects_ ? std::optional(true) : std::nullopt,
            .album = album_};
  }

  static Task<ExitStatus> sync(Session* session, std::vector<FileURL> volumes, bool json) {
    app::AppModel& model = session->model();
    const SyncDisplay display(model, json);
    auto starting = startUp(session);
    co_await starting;
    auto syncing = app::syncChosenCameras(
        &model, {.volumes = std::move(volumes), .stop = session->interruption(), .prepareLibrary = [&model] {
                   return prepareLibrary(&model);
                 }});
    app::ChosenSync synced = co_await syncing;
    const SyncReport report =
        SyncReport::of(model, std::move(synced.summary), session->files().library, session->isInterrupted(),
                       synced.obstacle ? std::optional(app::failureOf(*synced.obstacle)) : std::nullopt);
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
