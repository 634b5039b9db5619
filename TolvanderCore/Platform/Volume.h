#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

struct VolumeResourceValues {
  std::optional<std::string> name;  // UTF-8
  std::optional<std::string> uuid;  // as the platform spells it; compared exactly

  friend bool operator==(const VolumeResourceValues&, const VolumeResourceValues&) = default;
};

// What the platform says of the volume that is mounted at `volumeURL`, links resolved: its label and its
// UUID, each absent where the volume has none or the platform doesn't know it. A folder that is no mount
// point counts as a volume of its own, with the folder's name and a UUID that is derived from its file system
// and its path: the same each time, and another for another folder. Blocks; safe on every thread. Throws
// PosixError when there is no such folder or it can't be looked at.
VolumeResourceValues volumeResourceValues(const FileURL& volumeURL);

}  // namespace tolvander
