#include "TolvanderCore/TrashIntent.h"

#include <utility>

namespace tolvander {

ManagedTrashRecord TrashIntent::recordOf(std::string trashedPath, ManagedTrashIdentity identity,
                                         Date trashedAt) const {
  return {.id = id,
          .deviceIdentifier = deviceIdentifier,
          .volumeName = volumeName,
          .trashedPath = std::move(trashedPath),
          .originalFilename = originalFilename,
          .fingerprint = fingerprint,
          .trashedAt = trashedAt,
          .originalPath = originalPath,
          .trashDirectoryPath = trashDirectoryPath,
          .identity = std::move(identity),
          .photosAssetIdentifier = photosAssetIdentifier};
}

}  // namespace tolvander
