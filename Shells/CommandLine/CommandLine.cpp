#include "Shells/CommandLine/CommandLine.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Interruption.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Session/RecoveryAdvice.h"
#include "TolvanderApp/Presentation/FailureText.h"

namespace tolvander::shell {

namespace {

// Lines of ours beneath the words of the failure.
void showRecoveryAdvice(const Context& context) {
  try {
    for (const std::string& advice : recoveryAdvice(HomeFiles::of(context))) {
      showFailure(advice);
    }
  } catch (const std::exception&) {
    return;  // the failure itself has been shown
  }
}

ExitStatus runReportingFailure(Command& command, Context& context, const std::string& home) {
  try {
    if (!home.empty()) {
      context.home = fileURLFromArgument(home);
    }
    const ExitStatus status = command.run(context);
    if (!std::cout.flush()) {
      showFailure("the output could not be written");
      return ExitStatus::failed;
    }
    return status;
  } catch (const CancellationError&) {
    return ExitStatus::stopped;
  } catch (const std::exception& error) {
    showFailure(app::failureText(error));
    std::cout << (context.json ? app::failureJSON(error) + "\n" : "");
  }
  return ExitStatus::failed;
}

}  // namespace

ExitStatus runCommandLine(int argumentCount, const char* const* arguments) {
  CLI::App application("Tolvander takes photos and videos off a camera into your photo library, each once.",
                       "tolvanderctl");
  std::string home;
  Context context;
  application.set_version_flag("--version", "tolvanderctl " TOLVANDER_VERSION);
  application.add_option("--home", home, "Keep every file of ours below this folder")
      ->type_name("DIR")
      ->check([](const std::string& given) { return std::string(given.empty() ? "it is empty" : ""); });
  application.add_flag("--json", context.json, "Print one JSON document, for programs");
  application.require_subcommand(1);
  application.fallthrough();

  std::vector<std::pair<CLI::App*, std::unique_ptr<Command>>> commands;
  for (auto& command : {&makeScanCommand, &makeSetAsideCommand, &makePlanCommand, &makeRewrapCommand,
                        &makeHistoryCommand, &makeSyncCommand, &makeWatchCommand, &makeCheckCommand,
                        &makeRememberCommand, &makeRestoreCommand, &makeTrashCommand, &makeEjectCommand,
                        &makeCamerasCommand, &makeStatusCommand, &makeLibraryCommand, &makeLogCommand}) {
    auto made = command();
    CLI::App* declared = made->declare(application);
    commands.emplace_back(declared, std::move(made));
  }
  try {
    application.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return application.exit(error) == 0 ? ExitStatus::done : ExitStatus::wrongUsage;
  }
  const Interruption interruption;
  context.cancellation = interruption.token();
  for (const auto& [declared, command] : commands) {
    if (declared->parsed()) {
      const ExitStatus status = runReportingFailure(*command, context, home);
      if (status == ExitStatus::failed) {
        showRecoveryAdvice(context);
      }
      return status;
    }
  }
  return ExitStatus::wrongUsage;
}

}  // namespace tolvander::shell
