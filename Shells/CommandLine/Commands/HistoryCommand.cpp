#include <CLI/CLI.hpp>
#include <iostream>

#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/HistoryReport.h"
#include "Shells/CommandLine/Session/HomeFiles.h"

namespace tolvander::shell {

namespace {

class HistoryCommand final : public Command {
 public:
  CLI::App* declare(CLI::App& application) override {
    return application.add_subcommand("history", "Show what has been imported and what is unresolved");
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
