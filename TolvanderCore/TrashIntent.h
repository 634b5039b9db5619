#pragma once

#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander {

// A camera file that is about to be moved to the Trash, written down before it is. If the process dies before
// it has recorded the move, this is what tells the file from those that the user moved there.
struct TrashIntent {
  UUID id;  // that of the record which the move makes
  std::string deviceIdentifier;
  std::string volumeName;
  std::string originalFilename;
  std::string originalPath;
  std::string trashDirectoryPath;
  std::string volumeIdentifier;  // the UUID of the volume that holds both
  std::string fingerprint;       // the file's source fingerprint
  std::string photosAssetIdentifier;
  Date intendedAt;  // in whole seconds; the move comes later

  // The record of the file, once it lies in the Trash.
  ManagedTrashRecord recordOf(std::string trashedPath, ManagedTrashIdentity identity, Date trashedAt) const;

  friend bool operator==(const TrashIntent&, const TrashIntent&) = default;
};

}  // namespace tolvander
