#pragma once

#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander {

// The write-ahead intent of moving a camera file to the Trash. If the process dies between the move and its
// record, the intent distinguishes the file from those that the user moved to the Trash.
struct TrashIntent {
  UUID id;  // also the id of the record that will be made of the move
  std::string deviceIdentifier;
  std::string volumeName;
  std::string originalFilename;
  std::string originalPath;
  std::string trashDirectoryPath;
  std::string volumeIdentifier;  // the UUID of the volume that holds both
  std::string fingerprint;       // the file's source fingerprint
  std::string photosAssetIdentifier;
  Date intendedAt;  // in whole seconds; the move comes later

  // The record of the file after the move.
  ManagedTrashRecord recordOf(std::string trashedPath, ManagedTrashIdentity identity, Date trashedAt) const;

  friend bool operator==(const TrashIntent&, const TrashIntent&) = default;
};

}  // namespace tolvander
