#pragma once

#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander::app {

struct TrashDeleteResult {
  std::set<UUID> deleted{};  // records whose file is gone
  // Records whose file has its claimed name now, because it could be neither deleted nor renamed back.
  std::vector<ManagedTrashRecord> relocated{};
  std::vector<std::string> failures{};  // original filenames of records that weren't deleted
  // The same of records whose copy in the library wasn't proven when they were about to be deleted.
  std::vector<std::string> unproven{};
  bool cancelled = false;  // stopped early

  friend bool operator==(const TrashDeleteResult&, const TrashDeleteResult&) = default;
};

}  // namespace tolvander::app
