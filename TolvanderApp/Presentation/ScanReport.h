#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Cancellation.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/FileURL.h"

namespace tolvander::app {

// What one volume is and holds.
struct ScanReport {
  struct File {
    CameraMediaFile file;
    std::optional<std::string> sourceFingerprint;  // where fingerprints were asked for
  };

  FileURL volumeURL;
  std::string displayName;
  std::optional<DeviceProfile> profile;  // absent where the volume is no camera that we know
  std::vector<File> files;               // in the listing's order

  // Looks at a volume with the profiles of the saved cameras, and the built-in ones as they are shipped.
  // Blocks; reads every file whole where fingerprints are asked for. Throws PosixError (ENOENT, ENOTDIR)
  // where there is no such folder, and what detection and fingerprinting throw.
  static ScanReport of(const FileURL& volumeURL, bool withFingerprints, const CancellationToken& token,
                       std::vector<DeviceProfile> savedProfiles = {});

  // For people, with line ends.
  std::string text() const;

  // For programs: one object with "volume" (path), "displayName", "profile" (null, or an object with "id",
  // "kind" and "name") and "files", each with "relativePath", "byteCount", "modifiedAt" (ISO 8601, UTC, whole
  // seconds; missing where the file has none) and, where asked for, "sourceFingerprint".
  std::string json() const;
};

}  // namespace tolvander::app
