#include <iostream>

#include "Platform/Linux/Text/LinuxNames.h"
#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/ScanReport.h"
#include "Shells/CommandLine/Session/HomeView.h"
#include "Shells/CommandLine/Syntax.h"

namespace tolvander::shell {

namespace {

class ScanCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command("scan", "Tell what a volume is, and list its media files");
    command.value("VOLUME", volume_, "Where the volume is mounted, or any folder").required();
    command.flag("--fingerprints", withFingerprints_, "Read every file and give its SHA-256");
    command.flag("--verify", verifies_, "Prepare every file as for an import, and tell which can’t be");
    return command;
  }

  ExitStatus run(const Context& context) override {
    app::ScanReport::Options options = optionsOfHome(context);
    options.withFingerprints = withFingerprints_;
    if (verifies_) {
      options.verification = {.stagingFolder = HomeFiles::of(context).staging,
                              .systemNames = platform::linux_::systemNames()};
    }
    const auto report = app::ScanReport::of(fileURLFromArgument(volume_), options, context.cancellation);
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return report.failureCount() == 0 ? ExitStatus::done : ExitStatus::incomplete;
  }

 private:
  // None where the settings can't be read: a look at a volume needs no home.
  static app::ScanReport::Options optionsOfHome(const Context& context) {
    try {
      const HomeView view(context);
      return {.savedProfiles = view.settings().authorizedDeviceProfiles(),
              .setAside = view.settings().setAsideFiles()};
    } catch (const Error&) {
      return {};
    }
  }

  std::string volume_;
  bool withFingerprints_ = false;
  bool verifies_ = false;
};

}  // namespace

std::unique_ptr<Command> makeScanCommand() { return std::make_unique<ScanCommand>(); }

}  // namespace tolvander::shell
