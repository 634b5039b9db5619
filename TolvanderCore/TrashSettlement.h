#pragma once

#include <set>
#include <vector>

#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander {

// What a look at the Trash showed of the files that the history names there, and of the moves that an earlier
// process began and didn't record.
struct TrashSettlement {
  std::vector<ManagedTrashRecord> found;      // moved by such a process, and proven to be what it moved
  std::vector<ManagedTrashRecord> relocated;  // records whose file has another name in the Trash by now
  std::set<UUID> emptied;                     // records whose file has left the Trash
  std::set<UUID> settledIntents;              // nothing of theirs is in the Trash, or it was found

  bool changesNothing() const {
    return found.empty() && relocated.empty() && emptied.empty() && settledIntents.empty();
  }
};

}  // namespace tolvander
