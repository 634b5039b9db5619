#pragma once

#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Library/KnownContents.h"
#include "TolvanderApp/Library/LibrarySearchLimits.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander::app {

// The assets among which camera files could be: those created near the files' dates, and the newest where a
// date is missing or the search is a broader one. No more than the limits allow, however large the library.
struct CandidateAssets {
  std::vector<PhotosAsset> assets;         // the newest first; by identifier where dates are equal
  std::set<std::string> truncatedSources;  // files whose candidates are not all among them
  bool recentsAreFull = false;             // the newest were asked for, and are as many as may be

  // Throws PhotosPlatformError.
  static CandidateAssets fetch(PhotoLibrary& library, const std::vector<FingerprintedMediaFile>& files,
                               const RecognitionPolicy& policy, const LibrarySearchLimits& limits);

  // Those that were `fetched` and what else was created near the files' dates, as far as the limits allow
  // when assets of known content are outside them. Lets `known` learn about all that it comes upon. A file
  // without dates is truncated where `fetched` has as many recent assets as may be: it could be an older one.
  // Throws PhotosPlatformError and CancellationError.
  static CandidateAssets fetchBesideKnown(PhotoLibrary& library,
                                          const std::vector<FingerprintedMediaFile>& files,
                                          const RecognitionPolicy& policy, const LibrarySearchLimits& limits,
                                          const CandidateAssets& fetched, KnownContents& known,
                                          const CancellationToken& token);
};

}  // namespace tolvander::app
