#pragma once

#include <memory>
#include <optional>

#include "Shells/CommandLine/Syntax.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/StandardDirectories.h"

namespace tolvander::shell {

enum class ExitStatus : int {
  done = 0,
  failed = 1,
  wrongUsage = 2,
  incomplete = 3,
  cameraWentAway = 4,
  noCamera = 5,
  stopped = 130
};

// What every command is given: the options that stand before the command, and the token that Ctrl-C cancels.
struct Context {
  std::optional<FileURL> home;
  bool json = false;
  CancellationToken cancellation;

  // Where our files lie: below `home` where one is given, else the user's own places.
  StandardDirectories directories() const {
    return home ? StandardDirectories::below(*home) : StandardDirectories::current();
  }
};

// One command of the command line.
class Command {
 public:
  virtual ~Command() = default;

  // Declares the command with its arguments as one of `program`, and returns it.
  virtual CommandSyntax declare(const CommandSyntax& program) = 0;

  // Does it, after the arguments have been parsed. What it throws is shown as a failure.
  virtual ExitStatus run(const Context& context) = 0;
};

std::unique_ptr<Command> makeScanCommand();
std::unique_ptr<Command> makeSetAsideCommand();
std::unique_ptr<Command> makePlanCommand();
std::unique_ptr<Command> makeRewrapCommand();
std::unique_ptr<Command> makeHistoryCommand();
std::unique_ptr<Command> makeSyncCommand();
std::unique_ptr<Command> makeWatchCommand();
std::unique_ptr<Command> makeCheckCommand();
std::unique_ptr<Command> makeRememberCommand();
std::unique_ptr<Command> makeRestoreCommand();
std::unique_ptr<Command> makeTrashCommand();
std::unique_ptr<Command> makeEjectCommand();
std::unique_ptr<Command> makeCamerasCommand();
std::unique_ptr<Command> makeLogCommand();
std::unique_ptr<Command> makeStatusCommand();
std::unique_ptr<Command> makeLibraryCommand();

}  // namespace tolvander::shell
