#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/PlanReport.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

class PlanCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command =
        program.command("plan", "Tell what is to happen to a file before it is imported");
    command.value("FILE", file_, "A photo or a video").required();
    command.flag("--not-charmera", isFromAnotherCamera_, "Plan it as a file of another camera");
    command.value("--zone", zone_, "The camera’s time zone, such as Europe/Berlin (default: yours)")
        .typeName("ZONE")
        .check([](const std::string& name) { return TimeZone::named(name) ? "" : "no such time zone"; });
    command
        .value("--modified", modified_,
               "When the file was modified, such as 2026-11-15T19:13:17Z (default: as the file says)")
        .typeName("DATE")
        .check([](const std::string& text) {
          return dateFromArgument(text) ? "" : "no date such as 2026-11-15T19:13:17Z or …+01:00";
        });
    command.value("--output", output_, "Write what would be imported to a new file").typeName("OUT");
    return command;
  }

  ExitStatus run(const Context& context) override {
    app::PlanReport::Terms terms{.isFromCharmera = !isFromAnotherCamera_};
    if (modified_) {
      terms.modificationDate = dateFromArgument(*modified_);
    }
    if (zone_) {
      terms.zone = *TimeZone::named(*zone_);
    }
    const auto report = app::PlanReport::of(fileURLFromArgument(file_), terms, context.cancellation);
    if (output_) {
      report.writeOutput(fileURLFromArgument(*output_), context.cancellation);
    }
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return ExitStatus::done;
  }

 private:
  std::string file_;
  bool isFromAnotherCamera_ = false;
  std::optional<std::string> zone_;
  std::optional<std::string> modified_;
  std::optional<std::string> output_;
};

}  // namespace

std::unique_ptr<Command> makePlanCommand() { return std::make_unique<PlanCommand>(); }

}  // namespace tolvander::shell
