#pragma once

#include <functional>
#include <string>

#include "TolvanderApp/Platform/TrashOperations.h"

namespace tolvander::app {

// The two steps of a permanent delete that change the Trash, so that their failures can be brought about.
// Both throw PosixError and have then changed nothing.
struct TrashDeletionOperations {
  // Renames within the directory, never over something else.
  std::function<void(const DirectoryDescriptor& directory, const std::string& name,
                     const std::string& newName)>
      claim;
  std::function<void(const DirectoryDescriptor& directory, const std::string& name)> remove;

  // The platform's own. `platform` has to outlive them.
  static TrashDeletionOperations of(TrashOperations& platform) {
    return {.claim =
                [&platform](const DirectoryDescriptor& directory, const std::string& name,
                            const std::string& newName) {
                  platform.renameExclusively(directory, name, directory, newName);
                },
            .remove = [&platform](const DirectoryDescriptor& directory,
                                  const std::string& name) { platform.remove(directory, name); }};
  }
};

}  // namespace tolvander::app
