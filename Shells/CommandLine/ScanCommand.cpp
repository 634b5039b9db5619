#include <CLI/CLI.hpp>
#include <iostream>

#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/HomeView.h"
#include "TolvanderApp/Presentation/ScanReport.h"

namespace tolvander::shell {

namespace {

class ScanCommand final : public Command {
 public:
  CLI::App* declare(CLI::App& application) override {
    CLI::App* command = application.add_subcommand("scan", "Tell what a volume is, and list its media files");
    command->add_option("VOLUME", volume_, "Where the volume is mounted, or any folder")->required();
    command->add_flag("--fingerprints", withFingerprints_, "Read every file and give its SHA-256");
    return command;
  }

  ExitStatus run(const Context& context) override {
    const auto report = app::ScanReport::of(fileURLFromArgument(volume_), withFingerprints_,
                                            context.cancellation, savedProfiles(context));
    std::cout << (context.json ? report.json() + "\n" : report.text());
    return ExitStatus::done;
  }

 private:
  // None where the settings can't be read: a look at a volume needs no home.
  static std::vector<DeviceProfile> savedProfiles(const Context& context) {
    try {
      return HomeView(context).settings().authorizedDeviceProfiles();
    } catch (const Error&) {
      return {};
    }
  }

  std::string volume_;
  bool withFingerprints_ = false;
};

}  // namespace

std::unique_ptr<Command> makeScanCommand() { return std::make_unique<ScanCommand>(); }

}  // namespace tolvander::shell
