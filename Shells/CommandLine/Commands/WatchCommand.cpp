#include <utility>

#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Reports/RunResult.h"
#include "Shells/CommandLine/Session/Session.h"
#include "Shells/CommandLine/Session/SetupFlow.h"
#include "Shells/CommandLine/Session/SyncDisplay.h"
#include "Shells/CommandLine/Syntax.h"

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
                     .answers = {.optionForAlerts = "--trash yes to sync"},
                     .notified = [json = context.json](const app::NotificationRequest& notification) {
                       SyncDisplay::showNotification(notification, json);
                     }});
    return session.run([&](Session& running) { return watch(&running, agrees_, context.json); });
  }

 private:
  static Task<ExitStatus> watch(Session* session, bool agrees, bool json) {
    app::AppModel& model = session->model();
    const SyncDisplay display(model, json);
    const app::Subscription failures =
        model.lastError.observe([&model](const std::optional<std::string>& failure) {
          if (failure) {
            showFailure(app::failureText(model));
          }
        });
    if (const auto start = model.start()) {
      auto started = start->join();
      co_await started;
    }
    auto preparing = prepareLibrary(session, agrees);
    co_await preparing;
    auto refreshing = model.refreshConnectedDevices();  // the status line still speaks of the library
    co_await refreshing;
    // Setup is complete as soon as there is a camera to sync and a library to take its files.
    const auto completeSetup = [&model] {
      if (!model.settings().onboardingCompleted() && model.canStartFirstSync()) {
        model.completeOnboardingAndSync();
      }
    };
    const app::Subscription changes = model.changes.observe(completeSetup);
    completeSetup();
    // A library that could not be used may have come back; a camera that has come is the moment to look.
    bool hasCamera = !model.connectedDevices->empty();
    const app::Subscription cameras =
        model.connectedDevices.observe([session, &hasCamera](const auto& devices) {
          if (!std::exchange(hasCamera, !devices.empty()) && hasCamera) {
            session->lookAgain();
          }
        });
    auto interruption = session->untilInterrupted();
    co_await interruption;
    auto ending = session->until([&model] { return model.isIdle(); });
    co_await ending;
    co_return ExitStatus::done;
  }

  bool agrees_ = false;
};

}  // namespace

std::unique_ptr<Command> makeWatchCommand() { return std::make_unique<WatchCommand>(); }

}  // namespace tolvander::shell
