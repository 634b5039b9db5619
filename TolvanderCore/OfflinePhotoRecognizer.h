#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/LibraryReconciliation.h"
#include "TolvanderCore/MediaMetadata.h"
#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander {

// Decides which camera files are already in the library, by reading a bounded part of it. Imports nothing,
// keeps nothing between two calls, and reports as unchecked what it could not settle within its budget.
class OfflinePhotoRecognizer {
 public:
  OfflinePhotoRecognizer() = delete;

  // What the bytes of a resource are.
  struct Identity {
    std::string sourceFingerprint;  // SHA-256 of all of them, lower-case hexadecimal
    std::optional<std::string> mediaPayloadFingerprint;

    friend bool operator==(const Identity&, const Identity&) = default;
  };

  // One resource of a library asset.
  struct Candidate {
    std::string id;  // opaque; one resource, one id
    std::string assetIdentifier;
    std::string filename;              // under which the resource came into the library
    std::optional<Date> creationDate;  // the asset's
    std::optional<MediaMetadata> metadata;
    // Where it is known without a read. Such a candidate is outside every limit: it is compared by content
    // with each file, whatever its name and date, and is none of the nearby candidates.
    std::optional<Identity> identity = std::nullopt;

    friend bool operator==(const Candidate&, const Candidate&) = default;
  };

  // How the read of one resource ended.
  struct ReadResult {
    enum class Case {
      available,       // it was read whole
      unavailable,     // the read failed or timed out
      notLocal,        // the original is not on this computer
      budgetExceeded,  // the read was stopped, because the bytes that it was allowed ran out
    };

    static ReadResult available(Identity identity, std::int64_t bytes) {
      return {Case::available, std::move(identity), bytes};
    }
    static ReadResult unavailable(std::int64_t bytes) { return {Case::unavailable, {}, bytes}; }
    static ReadResult notLocal(std::int64_t bytes) { return {Case::notLocal, {}, bytes}; }
    static ReadResult budgetExceeded(std::int64_t bytes) { return {Case::budgetExceeded, {}, bytes}; }

    Case kind = Case::unavailable;
    Identity identity;       // of `available` alone
    std::int64_t bytes = 0;  // that the read consumed before it ended

    friend bool operator==(const ReadResult&, const ReadResult&) = default;
  };

  // A clock that never goes back.
  using Instant = std::chrono::steady_clock::time_point;
  using Now = std::function<Instant()>;

  // Reads the resource of the candidate `id`, at most `maximumBytes` of it (at least 1) and for at most
  // `timeout` (above 0). Blocks. A failure of the read is a result; what it throws, such as
  // CancellationError, ends the search.
  using Read = std::function<ReadResult(const std::string& id, std::int64_t maximumBytes,
                                        std::chrono::nanoseconds timeout)>;

  // Searches `candidates` for each of `files`: first among those of known identity, then among those of the
  // file's name, and when all files have been through that, among those of another name that were created
  // near its dates.
  //
  // - `candidates` come newest first: in the broader search a file without dates is compared with the first
  //   of them.
  // - `policy` is already scaled to the number of files.
  // - `truncatedSources` are the source fingerprints of files for which not all candidates were fetched; one
  //   that belongs to none of `files` is ignored.
  // - `now` is what all deadlines are measured by.
  //
  // Blocks until all is read, on the calling thread, which also makes all calls of `now` and `read`, one
  // after the other; each resource is read at most once. An exhausted budget is no failure. Throws
  // CancellationError when `token` is cancelled, watched before each file and each candidate, and what `read`
  // and `now` throw; what was found until then is dropped.
  static LibraryReconciliation reconcile(const std::vector<FingerprintedMediaFile>& files,
                                         const std::vector<Candidate>& candidates,
                                         const RecognitionPolicy& policy, bool broader,
                                         const std::set<std::string>& truncatedSources, const Now& now,
                                         const Read& read, const CancellationToken& token);
};

}  // namespace tolvander
