#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander {

// What a trashed item is on its file system, so that a later restore or delete can prove that it is still the
// same.
struct ManagedTrashIdentity {
  std::string volumeIdentifier;
  std::uint64_t fileNumber = 0;
  std::int64_t birthSeconds = 0;  // since 1970
  std::int64_t birthNanoseconds = 0;

  friend bool operator==(const ManagedTrashIdentity&, const ManagedTrashIdentity&) = default;
};

// One camera file that was moved to the Trash under our care.
struct ManagedTrashRecord {
  UUID id;
  std::optional<std::string> deviceIdentifier;
  std::string volumeName;
  std::string trashedPath;
  std::string originalFilename;
  std::string fingerprint;  // the file's source fingerprint
  Date trashedAt;
  std::optional<std::string> originalPath;
  std::optional<std::string> trashDirectoryPath;
  std::optional<ManagedTrashIdentity> identity;
  std::optional<std::string> photosAssetIdentifier;

  // A copy that lies at another path in the Trash.
  ManagedTrashRecord relocatedTo(std::string path) const;

  friend bool operator==(const ManagedTrashRecord&, const ManagedTrashRecord&) = default;
};

}  // namespace tolvander
