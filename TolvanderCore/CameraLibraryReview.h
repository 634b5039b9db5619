#pragma once

#include <map>
#include <string>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/LibraryReconciliation.h"

namespace tolvander {

// The result of comparing the files of one card with the library. In each list, the files are in the order of
// the scan, grouped by what the history says about them. The keys of both maps are source fingerprints.
struct CameraLibraryReview {
  // All scanned files, including repetitions of the same picture.
  std::vector<FingerprintedMediaFile> files;

  // In the library, by a confirmed record or by content.
  std::vector<FingerprintedMediaFile> represented;

  // With a record, but its asset no longer exists and no match was found.
  std::vector<FingerprintedMediaFile> missingRecorded;

  // Without a record, and not found.
  std::vector<FingerprintedMediaFile> newFiles;

  // The matches by content.
  std::map<std::string, LibraryMatch> recognized;

  // Files of interrupted imports that were not found by content.
  std::vector<FingerprintedMediaFile> uncertain;

  // Files that the search could not decide on.
  std::vector<FingerprintedMediaFile> unchecked;

  // Whether the search stopped at its limits.
  bool budgetExceeded = false;

  // In the library by metadata. A file that was also found by content is in `represented` as well, which
  // takes precedence.
  std::vector<FingerprintedMediaFile> metadataRepresented;

  // The asset identifiers of the metadata matches that are to be recorded.
  std::map<std::string, std::string> metadataRecognized;

  friend bool operator==(const CameraLibraryReview&, const CameraLibraryReview&) = default;
};

}  // namespace tolvander
