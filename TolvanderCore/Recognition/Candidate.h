#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/MediaMetadata.h"

namespace tolvander {

// The values that a search of the library works with. Users know them by their names in
// OfflinePhotoRecognizer, such as OfflinePhotoRecognizer::Candidate.

// What the bytes of a resource are.
struct ResourceIdentity {
  std::string sourceFingerprint;  // SHA-256 of all bytes, lower-case hexadecimal
  std::optional<std::string> mediaPayloadFingerprint;

  friend bool operator==(const ResourceIdentity&, const ResourceIdentity&) = default;
};

// One resource of a library asset, with which camera files are compared.
struct RecognitionCandidate {
  std::string id;  // opaque; each resource has one id, and no two resources share one
  std::string assetIdentifier;
  std::string filename;              // the name under which the resource was imported
  std::optional<Date> creationDate;  // of the asset
  std::optional<MediaMetadata> metadata;

  // The resource's identity, if it is known without a read. Such a candidate is compared by content with each
  // file, whatever its name and date. It is outside every limit and is never one of the nearby candidates.
  std::optional<ResourceIdentity> identity = std::nullopt;

  friend bool operator==(const RecognitionCandidate&, const RecognitionCandidate&) = default;
};

// A candidate's position in the list that a search was given. A search has fewer than 2^32 candidates.
using CandidateIndex = std::uint32_t;

// How the read of one resource ended.
struct ResourceReadResult {
  enum class Case {
    available,       // it was read to its end
    unavailable,     // the read failed or timed out
    notLocal,        // the original is not on this computer
    budgetExceeded,  // the read was stopped because it had used up the bytes allowed
  };

  static ResourceReadResult available(ResourceIdentity identity, std::int64_t bytes) {
    return {Case::available, std::move(identity), bytes};
  }
  static ResourceReadResult unavailable(std::int64_t bytes) { return {Case::unavailable, {}, bytes}; }
  static ResourceReadResult notLocal(std::int64_t bytes) { return {Case::notLocal, {}, bytes}; }
  static ResourceReadResult budgetExceeded(std::int64_t bytes) { return {Case::budgetExceeded, {}, bytes}; }

  Case kind = Case::unavailable;
  ResourceIdentity identity;  // of `available` only
  std::int64_t bytes = 0;     // consumed by the read before it ended

  friend bool operator==(const ResourceReadResult&, const ResourceReadResult&) = default;
};

// A clock that is never set back.
using RecognitionInstant = std::chrono::steady_clock::time_point;
using RecognitionClock = std::function<RecognitionInstant()>;

// Reads the resource of the candidate `id`: at most `maximumBytes` (at least 1), for at most `timeout` (above
// 0). Blocks. A failed read is a result. An exception, such as CancellationError, ends the search.
using ResourceRead = std::function<ResourceReadResult(const std::string& id, std::int64_t maximumBytes,
                                                      std::chrono::nanoseconds timeout)>;

}  // namespace tolvander
