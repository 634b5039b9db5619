#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/RewrapReport.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

class RewrapCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command =
        program.command("rewrap", "Rewrap a video as a QuickTime movie, and prove that they hold the same");
    command.value("AVI", source_, "The video").required();
    command.value("MOV", movie_, "The movie to make, where nothing is yet").required();
    return command;
  }

  ExitStatus run(const Context& context) override {
    const auto report = app::RewrapReport::of(fileURLFromArgument(source_), fileURLFromArgument(movie_),
                                              context.cancellation);
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return ExitStatus::done;
  }

 private:
  std::string source_;
  std::string movie_;
};

}  // namespace

std::unique_ptr<Command> makeRewrapCommand() { return std::make_unique<RewrapCommand>(); }

}  // namespace tolvander::shell
