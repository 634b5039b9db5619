#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/SetAsideFile.h"
#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/SystemNames.h"

namespace tolvander::app {

// What one volume is and holds.
struct ScanReport {
  struct File {
    CameraMediaFile file;
    std::optional<std::string> sourceFingerprint;  // where fingerprints were asked for
    std::optional<std::string> failure = {};  // where verification was asked for: why it can't be imported
    bool isSetAside = false;
  };

  // Each file is prepared as for an import.
  struct Verification {
    FileURL stagingFolder;    // for the prepared copies; need not exist
    SystemNames systemNames;  // for the words of failures
  };

  struct Options {
    bool withFingerprints = false;
    std::vector<DeviceProfile> savedProfiles = {};
    SetAsideFiles setAside = {};
    std::optional<Verification> verification = {};
  };

  FileURL volumeURL;
  std::string displayName;
  std::optional<DeviceProfile> profile;  // absent where the volume is no camera that we know
  std::vector<File> files;               // in the listing's order
  bool isVerified = false;

  // Looks at a volume with the profiles of the saved cameras, and the built-in ones as they are shipped.
  // Blocks; reads every file whole where fingerprints are asked for. Throws PosixError (ENOENT, ENOTDIR)
  // where there is no such folder, and what detection and fingerprinting throw.
  static ScanReport of(const FileURL& volumeURL, const Options& options, const CancellationToken& token);
  static ScanReport of(const FileURL& volumeURL, bool withFingerprints, const CancellationToken& token) {
    return of(volumeURL, Options{.withFingerprints = withFingerprints}, token);
  }

  // How many files can't be imported, of those that are not set aside.
  std::int64_t failureCount() const;

  // For people, with line ends.
  std::string text() const;

  // For programs: one object with "volume" (path), "displayName", "profile" (null, or an object with "id",
  // "kind" and "name") and "files", each with "relativePath", "byteCount", "modifiedAt" (ISO 8601, UTC, whole
  // seconds; missing where the file has none), "isSetAside" (true, or missing) and, where asked for,
  // "sourceFingerprint" and "failure" (null for a file that can be imported).
  std::string json() const;
};

}  // namespace tolvander::app
