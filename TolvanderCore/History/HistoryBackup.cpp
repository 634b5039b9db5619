#include "TolvanderCore/HistoryBackup.h"

#include <cstddef>
#include <vector>

#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/HistoryDatabase.h"
#include "TolvanderCore/Platform/AtomicFile.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander {

void backUpHistory(const FileURL& historyFile, Date now, BackupRule rule) {
  const DailyBackups backups(historyFile);
  const FileURL backup = backups.ofDay(now);
  if (!fileExists(historyFile)) {
    return;
  }
  const Date changed = fileResourceValues(historyFile).contentModificationDate.value_or(now);
  if (!backups.isDue(now, changed, rule)) {
    return;
  }
  const std::vector<std::byte> bytes = WholeFile(historyFile).contents({});
  if (readHistory(bytes) == HistoryDatabase()) {
    return;
  }
  createDirectories(backups.folder(), Durability::survivesPowerLoss);
  AtomicFile::removeLeftovers(backup);
  AtomicFile file(backup, Durability::survivesPowerLoss);
  file.write(bytes);
  file.commit();
  backups.removeOldOnes(backup);
}

}  // namespace tolvander
