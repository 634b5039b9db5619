#include "TolvanderCore/SyncHistoryError.h"

#include "TolvanderCore/SupportAddress.h"

namespace tolvander {

SyncHistoryError::SyncHistoryError(Case kind)
    : CaseError(kind, kind == Case::unreadableHistory ? "the import history is unreadable"
                                                      : "an import is unresolved") {}

std::optional<std::string> SyncHistoryError::description() const {
  return kind() == Case::unreadableHistory
             ? "Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. Contact " +
                   supportAddress() + " for help."
             : "A previous import was interrupted. Check Photos to recover its result; unresolved items stay "
               "paused to prevent duplicates.";
}

}  // namespace tolvander
