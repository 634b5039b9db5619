#pragma once

#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/LibraryReconciliation.h"
#include "TolvanderCore/Recognition/Candidate.h"
#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander {

// Decides which camera files are already in the library, by reading a bounded part of it. It imports nothing
// and keeps no state between two calls. A file that it can't settle within its budget is reported as
// unchecked.
class OfflinePhotoRecognizer {
 public:
  OfflinePhotoRecognizer() = delete;

  using Identity = ResourceIdentity;
  using Candidate = RecognitionCandidate;
  using ReadResult = ResourceReadResult;
  using Instant = RecognitionInstant;
  using Now = RecognitionClock;
  using Read = ResourceRead;

  // Searches `candidates` for each of `files` in this order: candidates of known identity, then candidates
  // with the file's name, and, when all files have been through that, candidates with other names that were
  // created near one of the file's dates.
  //
  // - `candidates` are ordered from the newest to the oldest: in the broader search, a file without dates is
  //   compared with the first of them.
  // - `policy` is already scaled to the number of files.
  // - `truncatedSources` are the source fingerprints of files for which not all candidates were fetched.
  // Those
  //   that belong to none of `files` are ignored.
  // - `now` measures all deadlines.
  //
  // Blocks until the search is complete. All calls of `now` and `read` are made on the calling thread, one
  // after the other, and each resource is read at most once. An exhausted budget is not a failure. Throws
  // CancellationError when `token` is cancelled, which is checked before each file and each candidate, and
  // whatever `read` and `now` throw; the results so far are then lost.
  static LibraryReconciliation reconcile(const std::vector<FingerprintedMediaFile>& files,
                                         const std::vector<Candidate>& candidates,
                                         const RecognitionPolicy& policy, bool broader,
                                         const std::set<std::string>& truncatedSources, const Now& now,
                                         const Read& read, const CancellationToken& token);
};

}  // namespace tolvander
