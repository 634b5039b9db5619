#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander {

// Identifies a file on its file system, whatever its name and content. Before a trashed file is restored or
// deleted, its identity is compared with the recorded one, so that no other file in its place is touched.
struct ManagedTrashIdentity {
  std::string volumeIdentifier;   // the UUID of the volume that holds the file
  std::uint64_t fileNumber = 0;   // a number that the file keeps while it exists, such as its inode number
  std::int64_t birthSeconds = 0;  // when the file was created: seconds since 1970 and nanoseconds
  std::int64_t birthNanoseconds = 0;

  friend bool operator==(const ManagedTrashIdentity&, const ManagedTrashIdentity&) = default;
};

// One camera file that this program moved to the Trash. Paths are absolute. They were read from the history
// file, which could have been edited, so users check them before they act on them.
struct ManagedTrashRecord {
  UUID id;
  std::optional<std::string> deviceIdentifier;  // the UUID of the camera's volume
  std::string volumeName;                       // of the camera, for the user
  std::string trashedPath;                      // of the file in the Trash
  std::string originalFilename;
  std::string fingerprint;  // of the camera file's bytes
  Date trashedAt;
  std::optional<std::string> originalPath;           // where the file was on the camera
  std::optional<std::string> trashDirectoryPath;     // the Trash folder that holds the file
  std::optional<ManagedTrashIdentity> identity;      // absent if it is not known
  std::optional<std::string> photosAssetIdentifier;  // the library item that holds the file's content

  // This record for the file under another path in the Trash.
  ManagedTrashRecord relocatedTo(std::string path) const;

  friend bool operator==(const ManagedTrashRecord&, const ManagedTrashRecord&) = default;
};

}  // namespace tolvander
