#pragma once

#include <map>
#include <string>
#include <vector>

#include "TolvanderCore/ImportRecords.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander::app {

// What can bring back originals of the photo library, as far as the history of imports knows where they came
// from.
class LibraryRemedies {
 public:
  LibraryRemedies() = default;
  LibraryRemedies(const ImportRecords& records, const std::vector<ManagedTrashRecord>& trashed);

  // A sentence for people.
  std::string of(const std::string& assetIdentifier) const;

  // The SHA-256 of what was handed to the library, by the asset's identifier.
  const std::map<std::string, std::string>& contents() const { return contents_; }

 private:
  std::map<std::string, std::string> sources_;         // the camera file's name, by the asset's identifier
  std::map<std::string, ManagedTrashRecord> trashed_;  // likewise
  std::map<std::string, std::string> contents_;
};

}  // namespace tolvander::app
