#pragma once

#include <set>
#include <vector>

#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander {

// The differences between the Trash and the history's records and intents, as found by inspecting the Trash.
struct TrashSettlement {
  std::vector<ManagedTrashRecord> found;      // moved by an earlier process, which didn't record them
  std::vector<ManagedTrashRecord> relocated;  // records whose file now has another name in the Trash
  std::set<UUID> emptied;                     // records whose file is no longer in the Trash
  std::set<UUID> settledIntents;              // intents whose file is in `found` or not in the Trash

  bool changesNothing() const {
    return found.empty() && relocated.empty() && emptied.empty() && settledIntents.empty();
  }
};

}  // namespace tolvander
