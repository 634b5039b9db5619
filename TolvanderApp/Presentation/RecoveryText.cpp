#include "TolvanderApp/Presentation/RecoveryText.h"

#include "TolvanderApp/Presentation/Wording.h"

namespace tolvander::app {

std::string historyBackupText(const FileURL& backup) {
  return "The newest backup of the import history is " + printable(backup.path());
}

std::string catalogueBackupText(const FileURL& backup) {
  return "The newest backup of the catalogue is " + printable(backup.path());
}

std::string catalogueRebuildText() {
  return "The catalogue can be made anew from the pictures: tolvanderctl library rebuild";
}

}  // namespace tolvander::app
