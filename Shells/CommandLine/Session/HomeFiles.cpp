#include "Shells/CommandLine/Session/HomeFiles.h"

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Platform/Linux/Settings/FileUserDefaults.h"
#include "Platform/Linux/System/HomeLock.h"
#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::shell {

using namespace platform::linux_;

namespace {

class NoHomeFolderError final : public Error {
 public:
  NoHomeFolderError() : Error("this user has no home folder; say where our files are with --home") {}
  std::string_view domain() const override { return "TolvanderShell.NoHomeFolderError"; }
  std::int64_t code() const override { return 0; }
};

}  // namespace

HomeFiles HomeFiles::of(const Context& context) {
  const StandardDirectories directories = context.directories();
  const auto lock = HomeLock::standardFile(directories);
  const auto settings = FileUserDefaults::standardFile(directories);
  const auto log = DiagnosticLog::standardDirectory(directories);
  const auto library = EmbeddedPhotoLibrary::folderOfUser(directories);
  if (!lock || !settings || !log || !library) {
    throw NoHomeFolderError();
  }
  return {.lock = *lock,
          .history = SyncHistoryStore::historyFile(directories),
          .settings = *settings,
          .log = *log,
          .library = *library,
          .staging = MediaStagingService::defaultRootDirectory(directories)};
}

}  // namespace tolvander::shell
