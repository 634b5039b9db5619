#pragma once

#include <string>
#include <vector>

#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander::app {

struct TrashMoveResult {
  std::vector<ManagedTrashRecord> records{};  // moved and verified, in order
  std::vector<std::string> failures{};        // camera filenames that weren't moved or were put back
  bool cancelled = false;                     // stopped early
  // Where a moved file stayed that could be neither verified nor put back, for a message to the user.
  std::vector<std::string> recoveryPaths{};

  friend bool operator==(const TrashMoveResult&, const TrashMoveResult&) = default;
};

}  // namespace tolvander::app
