#include <algorithm>
#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Conclusion.h"
#include "Shells/CommandLine/Reports/RunResult.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Session/SetupFlow.h"
#include "Shells/CommandLine/Session/SyncDisplay.h"
#include "Shells/CommandLine/Syntax.h"
#include "TolvanderApp/ChosenCameras.h"

namespace tolvander::shell {

namespace {

using app::AppModel;
using app::RunOutcome;
using app::RunResult;
using app::Task;

class EjectCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command =
        program.command("eject", "Let go of a camera, so that it can be pulled out");
    command.value("VOLUME", volume_, "The mount point of a saved camera").required();
    return command;
  }

  ExitStatus run(const Context& context) override {
    const FileURL volume = existingFolder(volume_);
    Session session(context, {.volumes = {}, .settings = {}, .answers = {}, .notified = {}});
    return session.run([&](Session& running) { return eject(&running, volume, context.json); });
  }

 private:
  static Task<ExitStatus> eject(Session* session, FileURL volume, bool json) {
    const SyncDisplay display(session->model(), json);
    auto starting = startUp(session);
    co_await starting;
    auto ejecting = ejectVolume(session, std::move(volume));
    const RunResult result = co_await ejecting;
    std::cout << (json ? result.json() + "\n" : "");
    co_return conclude(result.outcome, result.failure);
  }

  static Task<RunResult> ejectVolume(Session* session, FileURL volume) {
    AppModel& model = session->model();
    RunResult result{.outcome = RunOutcome::failed,
                     .status = model.statusMessage,
                     .failure = app::reasonAgainstWork(model)};
    if (session->isInterrupted()) {
      result.outcome = RunOutcome::stopped;
    }
    if (result.failure || session->isInterrupted()) {
      co_return result;
    }
    const auto device = app::connectedDevice(model, volume);
    if (!device) {
      result.failure = app::notASavedCameraText(volume);
      co_return result;
    }
    app::FlowOutcome outcome{.end = app::FlowEnd::stopped};
    if (const auto ejecting = model.ejectDevice(*device)) {
      auto ended = ejecting->value();
      outcome = co_await ended;
    }
    result.status = model.statusMessage;
    result.outcome = app::runOutcome(outcome.end);
    if (outcome.failure) {
      result.failure = app::failureText(*outcome.failure);
    }
    co_return result;
  }

  std::string volume_;
};

}  // namespace

std::unique_ptr<Command> makeEjectCommand() { return std::make_unique<EjectCommand>(); }

}  // namespace tolvander::shell
