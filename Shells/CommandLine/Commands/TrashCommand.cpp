#include <algorithm>
#include <iostream>
#include <iterator>

#include "Platform/Linux/Text/LinuxNames.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Conclusion.h"
#include "Shells/CommandLine/Reports/RunResult.h"
#include "Shells/CommandLine/Reports/TrashReport.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Session/SetupFlow.h"
#include "Shells/CommandLine/Session/SyncDisplay.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

using app::AppModel;
using app::RunOutcome;
using app::RunResult;
using app::Task;
using app::TrashReport;

TrashReport reportOf(const HomeFiles& files) {
  platform::linux_::FreedesktopTrash trash;
  SyncHistoryStore history(files.history);
  return TrashReport::of(history.trashRecords(), history.unsettledTrashIntents(),
                         app::TrashService(trash, platform::linux_::systemNames().trashTitle));
}

// What a flow came to: whether the user wanted it, and why it couldn't be, where the model doesn't know that.
struct Outcome {
  bool wasDeclined = false;
  std::optional<app::RunFailure> failure;
};

bool goesOn(Session& session) { return !session.model().lastError->has_value() && !session.isInterrupted(); }

// Deletes what lies in the Trash of the connected cameras, each after its question.
Task<Outcome> clearTrash(Session* session) {
  AppModel& model = session->model();
  Outcome outcome;
  const auto devices = model.deviceTrashSummaries.value();
  for (const auto& device : devices) {
    if (const auto clearing = model.clearManagedTrash(device)) {
      auto ended = clearing->value();
      const app::CleanupResult cleared = co_await ended;
      outcome.wasDeclined = outcome.wasDeclined || cleared.outcome.end == app::FlowEnd::declined;
    }
    if (!goesOn(*session)) {
      break;
    }
  }
  co_return outcome;
}

Task<Outcome> putBack(Session* session, std::optional<TrashReport::Filenames> filenames) {
  AppModel& model = session->model();
  const TrashReport report = reportOf(session->files());
  if (const auto unknown = report.unknown(filenames.value_or(TrashReport::Filenames())); !unknown.empty()) {
    co_return Outcome{.wasDeclined = false, .failure = app::RunFailure{app::notInTrashText(unknown)}};
  }
  const auto devices = model.deviceTrashSummaries.value();
  for (const auto& device : devices) {
    const auto camera = std::ranges::find(report.cameras, device.id, &TrashReport::Camera::id);
    const std::int64_t count = camera == report.cameras.end() ? 0 : camera->reachable(filenames);
    if (count == 0) {
      continue;
    }
    auto asking = session->dialogs().ask(app::putBackQuestion(count, device.displayName));
    const std::size_t answer = co_await asking;
    if (answer != 0) {
      co_return Outcome{.wasDeclined = true, .failure = std::nullopt};
    }
    if (const auto restoring = model.restoreManagedTrash(device, filenames)) {
      auto ended = restoring->value();
      co_await ended;
    }
    if (!goesOn(*session)) {
      break;
    }
  }
  co_return Outcome();
}

class TrashCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command("trash", "Camera files that were moved to the Trash");
    list_ = command.command("list", "Show them");
    restore_ = command.command("restore", "Put them back on their camera");
    restore_.values("FILE", filenames_, "Only files of these names");
    restore_.flag("--yes", agrees_, "Without asking");
    clear_ = command.command("clear", "Delete them for good");
    clear_.flag("--yes", agrees_, "Without asking");
    command.requireCommand();
    return command;
  }

  ExitStatus run(const Context& context) override {
    if (list_.wasGiven()) {
      const TrashReport report = reportOf(HomeFiles::of(context));
      std::cout << (context.json ? report.json() + "\n" : report.text());
      return ExitStatus::done;
    }
    Session session(context, {.volumes = {},
                              .settings = {},
                              .answers = {.agreesToAlerts = agrees_, .optionForAlerts = "--yes"},
                              .notified = {}});
    return session.run([&](Session& running) { return work(this, &running, context.json); });
  }

 private:
  static Task<ExitStatus> work(const TrashCommand* self, Session* session, bool json) {
    AppModel& model = session->model();
    const SyncDisplay display(model, json);
    auto starting = startUp(session);
    co_await starting;
    Outcome outcome;
    if (auto reason = app::reasonAgainstWork(model)) {
      outcome.failure = app::RunFailure{std::move(*reason)};
    }
    const bool isEmpty = model.deviceTrashSummaries->empty();
    if (!outcome.failure && goesOn(*session) && (!isEmpty || !self->filenames_.empty())) {
      auto working =
          self->restore_.wasGiven() ? putBack(session, self->chosenFilenames()) : clearTrash(session);
      outcome = co_await working;
    }
    RunResult result =
        RunResult::of(model, session->files().library, session->isInterrupted(), std::move(outcome.failure));
    if (outcome.wasDeclined && result.outcome == RunOutcome::done) {
      result.outcome = RunOutcome::failed;
    }
    if (json) {
      std::cout << result.json() << "\n";
    } else if (isEmpty && result.outcome == RunOutcome::done) {
      std::cout << app::nothingInConnectedTrashText();
    }
    co_return conclude(result.outcome, result.failure);
  }

  std::optional<TrashReport::Filenames> chosenFilenames() const {
    return filenames_.empty() ? std::nullopt
                              : std::optional(TrashReport::Filenames(filenames_.begin(), filenames_.end()));
  }

  CommandSyntax list_;
  CommandSyntax restore_;
  CommandSyntax clear_;
  std::vector<std::string> filenames_;
  bool agrees_ = false;
};

}  // namespace

std::unique_ptr<Command> makeTrashCommand() { return std::make_unique<TrashCommand>(); }

}  // namespace tolvander::shell
