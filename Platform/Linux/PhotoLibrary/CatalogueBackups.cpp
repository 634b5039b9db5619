#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"

#include <algorithm>
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

constexpr std::chrono::seconds busyTimeout(5);

void requireSound(const FileURL& file) {
  const std::vector<std::string> problems = Catalogue(file, busyTimeout).problems();
  if (!problems.empty()) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the catalogue of the photo library is damaged: " + problems.front());
  }
}

}  // namespace

CatalogueBackups::CatalogueBackups(const FileURL& library)
    : folder_(library), backups_(folder_.catalogueFile()) {}

void CatalogueBackups::makeIfDue(Date now, BackupRule rule) const {
  if (!fileExists(folder_.catalogueFile()) || !backups_.isDue(now, dateOfLastChange(), rule)) {
    return;
  }
  if (const auto lock = LibraryLock::ifFree(folder_)) {
    make(backups_.ofDay(now));
  }
}

// Changes are in the write-ahead log until a checkpoint copies them to the database. Reading creates an
// empty log.
Date CatalogueBackups::dateOfLastChange() const {
  Date latest;
  for (const char* const suffix : {"", "-wal"}) {
    const FileURL file(folder_.catalogueFile().path() + suffix);
    if (fileExists(file)) {
      const FileResourceValues values = fileResourceValues(file);
      const bool isEmpty = values.fileSize.value_or(0) == 0;
      latest = std::max(latest, isEmpty ? latest : values.contentModificationDate.value_or(latest));
    }
  }
  return latest;
}

void CatalogueBackups::make(const FileURL& backup) const {
  Catalogue catalogue(folder_.catalogueFile(), busyTimeout);
  if (catalogue.isEmpty()) {
    return;
  }
  createDirectories(backups_.folder(), Durability::survivesPowerLoss);
  const DatabaseFile copy(backups_.folder().appending(".Library.sqlite.part"));
  copy.remove();  // left by a process that was killed
  try {
    catalogue.copyWithoutIntents(copy.url(), busyTimeout);
    requireSound(copy.url());
    copy.moveTo(backup);
  } catch (const std::exception&) {
    copy.remove();
    throw;
  }
  backups_.removeOldOnes(backup);
}

}  // namespace tolvander::platform::linux_
