#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Conclusion.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Reports/CamerasReport.h"
#include "Shells/CommandLine/Session/HomeView.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

using app::Task;

class CamerasCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command("cameras", "List, add and forget saved cameras");
    list_ = command.command("list", "Show the saved cameras, and where they are now");
    add_ = command.command("add", "Remember a volume as a camera");
    add_.value("VOLUME", volume_, "A mount point, or any folder").required();
    forget_ = command.command("forget", "Forget a camera; its files and the history stay");
    forget_.value("CAMERA", camera_, "Its name or its identity").required();
    forget_.flag("--yes", agrees_, "Without asking");
    command.requireCommand();
    return command;
  }

  ExitStatus run(const Context& context) override {
    if (add_.wasGiven()) {
      return add(context);
    }
    if (forget_.wasGiven()) {
      return forget(context);
    }
    show(context);
    return ExitStatus::done;
  }

 private:
  static void show(const Context& context) {
    const auto report = HomeView(context).cameras();
    std::cout << (context.json ? report.json() + "\n" : report.text());
  }

  ExitStatus add(const Context& context) const {
    const FileURL volume = existingFolder(volume_);
    ExitStatus status = ExitStatus::failed;
    {
      Session session(
          context,
          {.volumes = {volume}, .settings = {}, .answers = {.agreesToFolder = true}, .notified = {}});
      status = session.run([&](Session& running) { return addWithoutSync(&running, volume); });
    }
    if (status == ExitStatus::done) {
      showOutcome(context, app::cameraSavedText(volume));
    }
    return status;
  }

  static Task<ExitStatus> addWithoutSync(Session* session, FileURL volume) {
    app::FlowOutcome outcome{.end = app::FlowEnd::stopped};
    if (const auto adding =
            session->model().addDevice(std::move(volume), app::AppModel::AfterAdding::nothing)) {
      auto ended = adding->value();
      const app::AddedCamera added = co_await ended;
      outcome = added.outcome;
    }
    co_return conclude(outcome);
  }

  ExitStatus forget(const Context& context) const {
    const auto id = HomeView(context).cameras().named(camera_);
    if (!id) {
      showFailure(app::noSuchCameraText(camera_));
      return ExitStatus::failed;
    }
    ExitStatus status = ExitStatus::failed;
    {
      Session session(context, {.volumes = {},
                                .settings = {},
                                .answers = {.agreesToAlerts = agrees_, .optionForAlerts = "--yes"},
                                .notified = {}});
      status = session.run([&](Session& running) { return forgetInModel(&running, *id); });
    }
    if (status == ExitStatus::done) {
      showOutcome(context, app::cameraForgottenText(camera_));
    }
    return status;
  }

  static Task<ExitStatus> forgetInModel(Session* session, UUID id) {
    app::FlowOutcome outcome{.end = app::FlowEnd::stopped};
    if (const auto forgetting = session->model().removeDevice(id)) {
      auto ended = forgetting->value();
      outcome = co_await ended;
    }
    co_return session->isInterrupted() ? ExitStatus::stopped : conclude(outcome);
  }

  static void showOutcome(const Context& context, const std::string& words) {
    if (context.json) {
      show(context);
    } else {
      std::cout << words;
    }
  }

  CommandSyntax list_;
  CommandSyntax add_;
  CommandSyntax forget_;
  std::string volume_;
  std::string camera_;
  bool agrees_ = false;
};

}  // namespace

std::unique_ptr<Command> makeCamerasCommand() { return std::make_unique<CamerasCommand>(); }

}  // namespace tolvander::shell
