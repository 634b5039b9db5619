#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

namespace tolvander {

// A library item whose content is that of a camera file.
struct LibraryMatch {
  std::string assetIdentifier;
  std::string resourceFingerprint;  // of the item's resource bytes
  std::optional<std::string> mediaPayloadFingerprint;

  friend bool operator==(const LibraryMatch&, const LibraryMatch&) = default;
};

// The result of one search of the library. All keys are source fingerprints.
struct LibraryReconciliation {
  std::map<std::string, LibraryMatch> matches;         // files found by content
  std::set<std::string> unchecked;                     // files for which the search could not reach a verdict
  bool budgetExceeded = false;                         // the search stopped at its limits
  std::map<std::string, std::string> metadataMatches;  // asset identifiers of files found by metadata alone
  std::set<std::string> limited;                       // those of `unchecked` for which a limit was a reason

  friend bool operator==(const LibraryReconciliation&, const LibraryReconciliation&) = default;
};

}  // namespace tolvander
