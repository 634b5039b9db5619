#include "Shells/CommandLine/CommandLine.h"

#include <exception>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "Platform/Linux/Text/LinuxNames.h"
#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Interruption.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Session/RecoveryAdvice.h"
#include "Shells/CommandLine/Syntax.h"
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
    const SystemNames names = platform::linux_::systemNames();
    showFailure(app::failureText(error, names));
    std::cout << (context.json ? app::failureJSON(error, names) + "\n" : "");
  }
  return ExitStatus::failed;
}

}  // namespace

ExitStatus runCommandLine(int argumentCount, const char* const* arguments) {
  ProgramSyntax syntax("tolvanderctl",
                       "Tolvander takes photos and videos off a camera into your photo library, each once.",
                       "tolvanderctl " TOLVANDER_VERSION);
  std::string home;
  Context context;
  const CommandSyntax program = syntax.program();
  program.value("--home", home, "Keep every file of ours below this folder")
      .typeName("DIR")
      .check([](const std::string& given) { return std::string(given.empty() ? "it is empty" : ""); });
  program.flag("--json", context.json, "Print one JSON document, for programs");

  std::vector<std::pair<CommandSyntax, std::unique_ptr<Command>>> commands;
  for (auto& command : {&makeScanCommand, &makeSetAsideCommand, &makePlanCommand, &makeRewrapCommand,
                        &makeHistoryCommand, &makeSyncCommand, &makeWatchCommand, &makeCheckCommand,
                        &makeRememberCommand, &makeRestoreCommand, &makeTrashCommand, &makeEjectCommand,
                        &makeCamerasCommand, &makeStatusCommand, &makeLibraryCommand, &makeLogCommand}) {
    auto made = command();
    const CommandSyntax declared = made->declare(program);
    commands.emplace_back(declared, std::move(made));
  }
  switch (syntax.parse(argumentCount, arguments)) {
    case ProgramSyntax::Parsed::command:
      break;
    case ProgramSyntax::Parsed::help:
      return ExitStatus::done;
    case ProgramSyntax::Parsed::wrongUsage:
      return ExitStatus::wrongUsage;
  }
  const Interruption interruption;
  context.cancellation = interruption.token();
  for (const auto& [declared, command] : commands) {
    if (declared.wasGiven()) {
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
