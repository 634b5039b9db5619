#pragma once

#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

struct TrashRestoreResult {
  std::set<UUID> restored{};            // of records
  std::vector<std::string> failures{};  // original filenames

  friend bool operator==(const TrashRestoreResult&, const TrashRestoreResult&) = default;
};

}  // namespace tolvander::app
