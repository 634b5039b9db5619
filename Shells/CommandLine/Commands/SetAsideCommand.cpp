#include <algorithm>
#include <iostream>

#include "Platform/Linux/System/EventLoop.h"
#include "Platform/Linux/System/HomeLock.h"
#include "Shells/CommandLine/Arguments.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Failure.h"
#include "Shells/CommandLine/Reports/ScanReport.h"
#include "Shells/CommandLine/Reports/SetAsideReport.h"
#include "Shells/CommandLine/Session/HomeView.h"
#include "Shells/CommandLine/Syntax.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::shell {

using namespace platform::linux_;

namespace {

using app::SetAsideFile;
using app::SetAsideFiles;

// A name is the path below the volume, or the file's name where one file alone has it.
bool isMeantBy(const std::string& relativePath, const std::string& name) {
  return relativePath == name || FileURL("/" + relativePath).lastPathComponent() == name;
}

// The settings of a home that belongs to this process while it lives.
struct OwnedSettings {
  explicit OwnedSettings(const Context& context) : files(HomeFiles::of(context)) {}

  const HomeFiles files;
  const HomeLock lock{files.lock};
  EventLoop loop;  // never runs
  FileUserDefaults stored{files.settings};
  app::AppSettings settings{stored, loop};
};

class SetAsideCommand final : public Command {
 public:
  CommandSyntax declare(const CommandSyntax& program) override {
    const CommandSyntax command = program.command(
        "set-aside", "Leave damaged files of a card out, so that its other files can be imported");
    command.value("VOLUME", volume_, "Where the card is mounted, or a folder");
    command.values("FILE", names_, "Paths below the volume, or names of files");
    list_ = command.flag("--list", "Show the files that are set aside");
    undo_ = command.flag("--undo", "Import these files again");
    list_->excludes(*undo_);
    command.check([this]() -> std::optional<std::string> {
      if (list_->wasGiven() ? !volume_.empty() : volume_.empty() || names_.empty()) {
        return "give VOLUME and FILE, or --list";
      }
      return std::nullopt;
    });
    return command;
  }

  ExitStatus run(const Context& context) override {
    if (list_->wasGiven()) {
      show(context, HomeView(context).settings().setAsideFiles());
      return ExitStatus::done;
    }
    OwnedSettings owned(context);
    SetAsideFiles files = owned.settings.setAsideFiles();
    const bool isKnown = undo_->wasGiven() ? remove(files) : add(files, owned.settings, context);
    if (!isKnown) {
      return ExitStatus::failed;
    }
    owned.settings.setSetAsideFiles(files);
    show(context, files);
    return ExitStatus::done;
  }

 private:
  static void show(const Context& context, const SetAsideFiles& files) {
    std::cout << (context.json ? app::setAsideJSON(files) + "\n" : app::setAsideText(files));
  }

  bool remove(SetAsideFiles& files) const {
    for (const std::string& name : names_) {
      const auto removed =
          std::erase_if(files, [&](const SetAsideFile& file) { return isMeantBy(file.relativePath, name); });
      if (removed == 0) {
        showFailure(app::notSetAsideText(name));
        return false;
      }
    }
    return true;
  }

  bool add(SetAsideFiles& files, const app::AppSettings& settings, const Context& context) const {
    const FileURL volume = existingFolder(volume_);
    const auto scanned = app::ScanReport::of(volume, {.savedProfiles = settings.authorizedDeviceProfiles()},
                                             context.cancellation);
    const std::string uuid = volumeResourceValues(volume).uuid.value_or("");
    for (const std::string& name : names_) {
      const auto isMeant = [&](const app::ScanReport::File& entry) {
        return isMeantBy(entry.file.relativePath, name);
      };
      if (std::ranges::count_if(scanned.files, isMeant) != 1) {
        showFailure(app::noSuchMediaFileText(name));
        return false;
      }
      const auto found = std::ranges::find_if(scanned.files, isMeant);
      const auto file = SetAsideFile::of(found->file, uuid, context.cancellation);
      if (std::ranges::find(files, file) == files.end()) {
        files.push_back(file);
      }
    }
    return true;
  }

  std::string volume_;
  std::vector<std::string> names_;
  std::optional<Option> list_;
  std::optional<Option> undo_;
};

}  // namespace

std::unique_ptr<Command> makeSetAsideCommand() { return std::make_unique<SetAsideCommand>(); }

}  // namespace tolvander::shell
