#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Reports/RunResult.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Session/SetupFlow.h"
#include "Shells/CommandLine/Session/SyncDisplay.h"
#include "Shells/CommandLine/Syntax.h"
#include "TolvanderApp/UnattendedSetup.h"

namespace tolvander::shell {

namespace {

using app::Task;

class WatchCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command =
        program.command("watch", "Sync saved cameras whenever they are plugged in, until Ctrl-C");
    command.flag("--yes", agrees_, "Make the photo library without asking");
    return command;
  }

  ExitStatus run(const Context& context) override {
    Session session(context,
                    {.volumes = {},
                     .settings = {},
                     .answers = {.optionForAlerts = "--trash yes to sync", .agreesToFolder = agrees_},
                     .notified = [json = context.json](const app::NotificationRequest& notification) {
                       SyncDisplay::showNotification(notification, json);
                     }});
    return session.run([&](Session& running) { return watch(&running, context.json); });
  }

 private:
  static Task<ExitStatus> watch(Session* session, bool json) {
    app::AppModel& model = session->model();
    const SyncDisplay display(model, json);
    const app::Subscription failures =
        model.lastError.observe([&model](const std::optional<std::string>& failure) {
          if (failure) {
            showFailure(app::failureText(*model.failure()));
          }
        });
    if (const auto start = model.start()) {
      auto started = start->join();
      co_await started;
    }
    auto preparing = prepareLibrary(&model);
    co_await preparing;
    auto refreshing = model.refreshConnectedDevices();  // the status line still speaks of the library
    co_await refreshing;
    const app::UnattendedSetup setup(model);
    auto interruption = session->untilInterrupted();
    co_await interruption;
    auto ending = model.untilIdle();
    co_await ending;
    co_return ExitStatus::done;
  }

  bool agrees_ = false;
};

}  // namespace

std::unique_ptr<Command> makeWatchCommand() { return std::make_unique<WatchCommand>(); }

}  // namespace tolvander::shell
