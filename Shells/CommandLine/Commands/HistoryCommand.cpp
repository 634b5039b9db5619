#include <iostream>

#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/HistoryReport.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

class HistoryCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    return program.command("history", "Show what has been imported and what is unresolved");
  }

  ExitStatus run(const Context& context) override {
    SyncHistoryStore store(HomeFiles::of(context).history);
    const auto report = app::HistoryReport::of(store);
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return ExitStatus::done;
  }
};

}  // namespace

std::unique_ptr<Command> makeHistoryCommand() { return std::make_unique<HistoryCommand>(); }

}  // namespace tolvander::shell
