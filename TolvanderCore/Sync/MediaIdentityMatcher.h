#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/ImportRecords.h"

namespace tolvander {

// When two identities denote one item. Pure functions, safe on every thread.
class MediaIdentityMatcher {
 public:
  MediaIdentityMatcher() = delete;

  // Views, so that the fingerprints of a hundred thousand records are looked up without being copied. They
  // need to last for the call only.
  using Fingerprints = std::unordered_set<std::string_view>;

  // Whether the sources are equal, or else the payloads, if both are present.
  static bool matches(std::string_view sourceFingerprint,
                      const std::optional<std::string>& mediaPayloadFingerprint,
                      std::string_view candidateSourceFingerprint,
                      const std::optional<std::string>& candidateMediaPayloadFingerprint);

  // The files, in their order, without those that are recorded and without all but the first of several with
  // one source or one payload. A file whose payload rules it out still stands for its source, so a later file
  // of that source is ruled out too.
  static std::vector<FingerprintedMediaFile> uniqueUnrecorded(
      const std::vector<FingerprintedMediaFile>& files, Fingerprints recordedSourceFingerprints,
      Fingerprints recordedPayloadFingerprints);

  // The assets of all records that share a source or a payload with one of the files, whatever the records
  // rest on. Each once, in ascending order.
  static std::vector<std::string> recordedAssetIdentifiers(const std::vector<FingerprintedMediaFile>& files,
                                                           const ImportRecords& records);
};

}  // namespace tolvander
