#pragma once

#include <map>
#include <string>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/LibraryReconciliation.h"

namespace tolvander {

// The verdict on the files of one card, of which nothing was imported. Lists keep the order of the scan
// within what the history said of their files. Both maps have source fingerprints as keys.
struct CameraLibraryReview {
  std::vector<FingerprintedMediaFile> files;        // all that were scanned, repetitions included
  std::vector<FingerprintedMediaFile> represented;  // in the library, by a confirmed record or by content
  std::vector<FingerprintedMediaFile>
      missingRecorded;                             // recorded, but the asset is gone and nothing was found
  std::vector<FingerprintedMediaFile> newFiles;    // neither recorded nor found
  std::map<std::string, LibraryMatch> recognized;  // the content matches of this review
  std::vector<FingerprintedMediaFile> uncertain;   // of an interrupted import, and not found by content
  std::vector<FingerprintedMediaFile> unchecked;   // without a verdict
  bool budgetExceeded = false;                     // the search stopped at its limits
  // In the library by metadata. A file that is found by content as well stands in `represented` too, which
  // counts first.
  std::vector<FingerprintedMediaFile> metadataRepresented;
  // Asset identifiers of the metadata matches worth keeping.
  std::map<std::string, std::string> metadataRecognized;

  friend bool operator==(const CameraLibraryReview&, const CameraLibraryReview&) = default;
};

}  // namespace tolvander
