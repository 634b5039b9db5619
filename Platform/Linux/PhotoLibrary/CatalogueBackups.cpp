#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"

#include <chrono>
#include <string>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/DatabaseFile.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Platform/AtomicFile.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

constexpr std::chrono::seconds patience(5);

void requireSound(const FileURL& file) {
  const std::vector<std::string> problems = Catalogue(file, patience).problems();
  if (!problems.empty()) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the catalogue of the photo library is damaged: " + problems.front());
  }
}

}  // namespace

CatalogueBackups::CatalogueBackups(const FileURL& library)
    : folder_(library), backups_(folder_.catalogueFile()) {}

void CatalogueBackups::makeIfDue(Date now) const {
  const FileURL backup = backups_.ofDay(now);
  if (fileExists(backup) || !fileExists(folder_.catalogueFile())) {
    return;
  }
  if (const auto lock = LibraryLock::ifFree(folder_)) {
    make(backup);
  }
}

void CatalogueBackups::make(const FileURL& backup) const {
  Catalogue catalogue(folder_.catalogueFile(), patience);
  if (catalogue.isEmpty()) {
    return;
  }
  createDirectories(backups_.folder(), Durability::survivesPowerLoss);
  const DatabaseFile copy(backups_.folder().appending(".Library.sqlite.part"));
  copy.remove();  // what a process that was killed has left
  try {
    catalogue.copyWithoutIntents(copy.url(), patience);
    requireSound(copy.url());
    copy.moveTo(backup);
  } catch (const std::exception&) {
    copy.remove();
    throw;
  }
  backups_.removeOldOnes(backup);
}

}  // namespace tolvander::platform::linux_
