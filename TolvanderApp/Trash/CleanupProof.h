#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/ImportRecords.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander::app {

// Decides whether files have a copy in the library; without one none is moved or deleted. Pure functions, any
// thread.
class CleanupProof {
 public:
  CleanupProof() = delete;

  // From source fingerprint to the asset's identifier.
  using Assets = std::map<std::string, std::string>;

  // The recorded assets of the files. A match by metadata alone does not count: it is not certain enough to
  // move a camera file.
  static Assets recordedAssets(const std::vector<FingerprintedMediaFile>& files,
                               const ImportRecords& records);

  static std::vector<std::string> identifiers(const Assets& assets);
  static std::vector<std::string> identifiers(const std::vector<ManagedTrashRecord>& records);

  // Whether each file has an asset, and each of these is among those that are in the library.
  static bool allExist(const std::vector<FingerprintedMediaFile>& files, const Assets& assets,
                       const std::set<std::string>& existing);
  static bool allExist(const std::vector<ManagedTrashRecord>& records, const std::set<std::string>& existing);

  // The SHA-256 of what the library has of a trashed file: of the bytes that were handed to it, which are the
  // file's own where they weren't altered. Absent where the history doesn't know any.
  static std::optional<std::string> contentInLibrary(const ManagedTrashRecord& trashed,
                                                     const ImportRecords& records);
};

}  // namespace tolvander::app
