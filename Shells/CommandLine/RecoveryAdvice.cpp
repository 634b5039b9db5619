#include "Shells/CommandLine/RecoveryAdvice.h"

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "TolvanderApp/Presentation/RecoveryText.h"
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

// One that a newer version of the program made is not broken.
bool isCatalogueBroken(const FileURL& library) {
  EmbeddedPhotoLibrary photos(library);
  try {
    photos.requireCatalogue();
    return false;
  } catch (const Error&) {
    return !Catalogue::isOfNewerVersion(LibraryFolder(library).catalogueFile(),
                                        EmbeddedPhotoLibrary::defaultPatience);
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
  if (isCatalogueBroken(files.library)) {
    advice.push_back(app::catalogueRebuildText());
    if (const auto newest = CatalogueBackups(files.library).newest()) {
      advice.push_back(app::catalogueBackupText(*newest));
    }
  }
  return advice;
}

}  // namespace tolvander::shell
