#include "Shells/CommandLine/Session/RecoveryAdvice.h"

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"
#include "Shells/CommandLine/Reports/RecoveryText.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::shell {

using namespace platform::linux_;

namespace {

bool isHistoryReadable(const FileURL& file) {
  try {
    SyncHistoryStore(file).ensureAvailable();
    return true;
  } catch (const SyncHistoryError&) {
    return false;
  }
}

}  // namespace

std::vector<std::string> recoveryAdvice(const HomeFiles& files) {
  std::vector<std::string> advice;
  if (!isHistoryReadable(files.history)) {
    if (const auto newest = DailyBackups(files.history).newest()) {
      advice.push_back(app::historyBackupText(*newest));
    }
  }
  if (isCatalogueLost(LibraryFolder(files.library), EmbeddedPhotoLibrary::defaultBusyTimeout)) {
    advice.push_back(app::catalogueRebuildText(CatalogueBackups(files.library).newest()));
  }
  return advice;
}

}  // namespace tolvander::shell
