#include "Shells/CommandLine/Reports/RecoveryText.h"

#include "TolvanderApp/Presentation/Wording.h"

namespace tolvander::app {

std::string historyBackupText(const FileURL& backup) {
  return "The newest backup of the import history is " + printable(backup.path());
}

std::string catalogueRebuildText(const std::optional<FileURL>& backup) {
  return "“tolvanderctl library rebuild” makes the catalogue anew" +
         (backup ? ", with dates and albums from " + printable(backup->path()) : " from the pictures");
}

}  // namespace tolvander::app
