#pragma once

#include <string>
#include <unordered_set>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// Chooses paths for originals that no file, original or intent has, and that were not chosen before.
class FreeOriginalPaths {
 public:
  FreeOriginalPaths(const LibraryFolder& folder, Catalogue& catalogue)
      : folder_(&folder), catalogue_(&catalogue) {}

  // The first free variant of `name` in a folder (originalName with a number). Throws DatabaseError.
  std::string choose(const std::string& folder, const std::string& name);

 private:
  bool isTaken(const std::string& path) const;

  const LibraryFolder* folder_;
  Catalogue* catalogue_;
  std::unordered_set<std::string> chosenKeys_;
};

}  // namespace tolvander::platform::linux_
