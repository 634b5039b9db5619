#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

struct VolumeResourceValues {
  std::optional<std::string> name;  // UTF-8
  std::optional<std::string> uuid;  // as the platform writes it; compared exactly

  friend bool operator==(const VolumeResourceValues&, const VolumeResourceValues&) = default;
};

// The label and the UUID of the volume that is mounted at `volumeURL`, with links resolved. Each is absent if
// the volume has none or the platform doesn't know it. A folder that is not a mount point is treated as a
// volume with the folder's name and a UUID derived from its file system and its path, so that each folder has
// its own. Blocks; safe on every thread. Throws PosixError if the folder doesn't exist or can't be examined.
VolumeResourceValues volumeResourceValues(const FileURL& volumeURL);

}  // namespace tolvander
