#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Conclusion.h"
#include "Shells/CommandLine/Reports/CheckReport.h"
#include "Shells/CommandLine/Reports/SyncReport.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Session/SetupFlow.h"
#include "Shells/CommandLine/Session/SyncDisplay.h"
#include "Shells/CommandLine/Syntax.h"
#include "TolvanderApp/ChosenCameras.h"

namespace tolvander::shell {

namespace {

using app::AppModel;
using app::CheckReport;
using app::RunOutcome;
using app::RunResult;
using app::Task;
using Failure = std::optional<app::RunFailure>;
using Volumes = std::vector<FileURL>;

bool goesOn(Session& session) {
  const AppModel& model = session.model();
  return !model.lastError->has_value() && !model.cameraWentAway && !session.isInterrupted();
}

// Checks the chosen cameras, and gives why it couldn't, where the model doesn't know that.
Task<Failure> check(Session* session, Volumes volumes, AppModel::CheckPurpose purpose) {
  AppModel& model = session->model();
  if (purpose == AppModel::CheckPurpose::beforeChange &&
      model.settings().authorizedDeviceProfiles().empty()) {
    if (const auto completing = model.completeInterruptedImports()) {
      auto completed = completing->join();
      co_await completed;
    }
  }
  const bool isDenied = model.removableVolumeAccessIssue->has_value();
  if (isDenied && (!model.settings().onboardingCompleted() || model.connectedDevices->empty())) {
    co_return std::nullopt;
  }
  if (auto reason = app::reasonAgainstWork(model)) {
    const bool hasCamera = !model.settings().authorizedDeviceProfiles().empty();
    co_return app::RunFailure{std::move(*reason), hasCamera ? RunOutcome::failed : RunOutcome::noCamera};
  }
  for (const FileURL& volume : volumes) {
    if (!app::isConnected(model, volume)) {
      co_return app::RunFailure{app::notASavedCameraText(volume)};
    }
  }
  if (model.connectedDevices->empty()) {
    co_return app::noCameraConnected();
  }
  if (const auto checking = model.verifyCameraInPhotos(purpose)) {
    auto checked = checking->value();
    co_await checked;
  }
  co_return std::nullopt;
}

// A check, and what the user wants to follow it.
class CheckingCommand : public Command {
 public:
  ExitStatus run(const Context& context) override {
    Volumes volumes;
    for (const std::string& volume : volumes_) {
      volumes.push_back(existingFolder(volume));
    }
    Session session(context, options(volumes));
    return session.run([&](Session& running) { return checkAndGoOn(this, &running, volumes, context.json); });
  }

 protected:
  struct Next {
    Failure failure;
    std::int64_t imported = 0;
  };

  void declareVolumes(const CommandSyntax& command) {
    command.values("VOLUME", volumes_,
                   "Mount points, or folders, of saved cameras (default: all that are connected)");
  }

  virtual Session::Options options(const Volumes& volumes) const {
    return {.volumes = volumes, .settings = {}, .answers = {}, .notified = {}};
  }

  virtual AppModel::CheckPurpose purpose() const { return AppModel::CheckPurpose::beforeChange; }

  // After a check that the model has ended well.
  virtual Task<Next> goOn(Session* /*session*/, CheckReport /*report*/, bool /*json*/) const {
    co_return Next();
  }

 private:
  static Task<ExitStatus> checkAndGoOn(const CheckingCommand* self, Session* session, Volumes volumes,
                                       bool json) {
    AppModel& model = session->model();
    const SyncDisplay display(model, json);
    auto starting = startUp(session);
    co_await starting;
    Next next;
    CheckReport report;
    if (!session->isInterrupted()) {
      auto checking = check(session, std::move(volumes), self->purpose());
      next.failure = co_await checking;
      report = CheckReport::of(model.libraryReviews);
      std::cout << (json ? "" : report.text()) << std::flush;
    }
    if (!next.failure && goesOn(*session)) {
      auto going = self->goOn(session, report, json);
      next = co_await going;
    }
    const auto result =
        RunResult::of(model, session->files().library, session->isInterrupted(), std::move(next.failure));
    std::cout << (json ? report.json(result, next.imported) + "\n" : "");
    co_return conclude(result.outcome, result.failure);
  }

  std::vector<std::string> volumes_;
};

class CheckCommand final : public CheckingCommand {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command =
        program.command("check", "Compare cameras with the photo library, without changing anything");
    declareVolumes(command);
    return command;
  }

 private:
  AppModel::CheckPurpose purpose() const override { return AppModel::CheckPurpose::look; }
};

class RememberCommand final : public CheckingCommand {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command(
        "remember", "Check cameras, and save in the history what is in the photo library already");
    declareVolumes(command);
    return command;
  }

 private:
  Task<Next> goOn(Session* session, CheckReport /*report*/, bool /*json*/) const override {
    AppModel& model = session->model();
    const auto reviews = model.libraryReviews.value();
    for (const auto& review : reviews) {
      if (const auto remembering = model.rememberVerifiedMatches(review)) {
        auto remembered = remembering->value();
        co_await remembered;
      }
      if (!goesOn(*session)) {
        break;
      }
    }
    co_return Next();
  }
};

class RestoreCommand final : public CheckingCommand {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command(
        "restore", "Check cameras, and import what is missing in the photo library, also what was removed");
    declareVolumes(command);
    command.value("--album", album_, "Put the items into this album").typeName("NAME");
    command.flag("--yes", agrees_, "Import without asking");
    return command;
  }

 private:
  Session::Options options(const Volumes& volumes) const override {
    return {.volumes = volumes,
            .settings = {.album = album_},
            .answers = {.agreesToAlerts = agrees_, .optionForAlerts = "--yes"},
            .notified = {}};
  }

  Task<Next> goOn(Session* session, CheckReport report, bool json) const override {
    AppModel& model = session->model();
    const auto reviews = model.libraryReviews.value();
    Next next;
    bool wasNeeded = false;
    for (std::size_t index = 0; index < reviews.size(); ++index) {
      const CheckReport::Camera& camera = report.cameras.at(index);
      if (!camera.counts.isComplete()) {
        next.failure = app::RunFailure{app::cannotImportText(camera)};
      }
      if (!camera.counts.isComplete() || camera.counts.importable() == 0) {
        wasNeeded = wasNeeded || !camera.counts.isComplete();
        continue;
      }
      wasNeeded = true;
      app::RestoreResult restored;
      if (const auto restoring = model.restoreMissingImports(reviews.at(index))) {
        auto ended = restoring->value();
        restored = co_await ended;
      }
      if (restored.outcome.end == app::FlowEnd::declined) {
        next.failure = app::RunFailure{app::nothingImportedText()};
      }
      next.imported += restored.run ? restored.run->imported.total() : 0;
      if (!json && restored.run && restored.run->end != app::CameraRun::End::done) {
        std::cout << app::runText(*restored.run);
      }
      if (!goesOn(*session) || !model.settings().onboardingCompleted()) {
        break;
      }
    }
    std::cout << (wasNeeded || json ? "" : app::nothingMissingText());
    co_return next;
  }

  std::optional<std::string> album_;
  bool agrees_ = false;
};

}  // namespace

std::unique_ptr<Command> makeCheckCommand() { return std::make_unique<CheckCommand>(); }
std::unique_ptr<Command> makeRememberCommand() { return std::make_unique<RememberCommand>(); }
std::unique_ptr<Command> makeRestoreCommand() { return std::make_unique<RestoreCommand>(); }

}  // namespace tolvander::shell
