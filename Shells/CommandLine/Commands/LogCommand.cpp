#include <iostream>

#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/LogReport.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

class LogCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command("log", "Show the diagnostic log");
    command.flag("--files", showsFiles_, "Show where it is kept instead");
    return command;
  }

  ExitStatus run(const Context& context) override {
    const DiagnosticLog log(HomeFiles::of(context).log);
    const auto report = app::LogReport::of(log);
    if (context.json) {
      std::cout << (showsFiles_ ? report.jsonOfFiles() : report.json()) << "\n";
    } else {
      std::cout << (showsFiles_ ? report.textOfFiles() : report.text());
    }
    return ExitStatus::done;
  }

 private:
  bool showsFiles_ = false;
};

}  // namespace

std::unique_ptr<Command> makeLogCommand() { return std::make_unique<LogCommand>(); }

}  // namespace tolvander::shell
