#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/ImportRecords.h"

namespace tolvander {

// Decides which identities belong to the same item. Pure functions, safe on every thread.
class MediaIdentityMatcher {
 public:
  MediaIdentityMatcher() = delete;

  // Views, so that the fingerprints of 100,000 records need not be copied. They must be valid during the
  // call.
  using Fingerprints = std::unordered_set<std::string_view>;

  // Whether the sources are equal, or else the payloads, if both are present.
  static bool matches(std::string_view sourceFingerprint,
                      const std::optional<std::string>& mediaPayloadFingerprint,
                      std::string_view candidateSourceFingerprint,
                      const std::optional<std::string>& candidateMediaPayloadFingerprint);

  // The files, in their order, without those that are recorded, and only the first of several with the same
  // source or payload. The source of a file that is excluded by its payload counts as seen: a later file with
  // that source is excluded too.
  static std::vector<FingerprintedMediaFile> uniqueUnrecorded(
      const std::vector<FingerprintedMediaFile>& files, Fingerprints recordedSourceFingerprints,
      Fingerprints recordedPayloadFingerprints);

  // The assets of all records, with any evidence, that share a source or a payload with one of the files.
  // Without repetition, in ascending order.
  static std::vector<std::string> recordedAssetIdentifiers(const std::vector<FingerprintedMediaFile>& files,
                                                           const ImportRecords& records);
};

}  // namespace tolvander
