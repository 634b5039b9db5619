#include "TolvanderCore/Sync/MediaIdentityMatcher.h"

#include <set>

namespace tolvander {

bool MediaIdentityMatcher::matches(std::string_view sourceFingerprint,
                                   const std::optional<std::string>& mediaPayloadFingerprint,
                                   std::string_view candidateSourceFingerprint,
                                   const std::optional<std::string>& candidateMediaPayloadFingerprint) {
  return sourceFingerprint == candidateSourceFingerprint ||
         (mediaPayloadFingerprint && mediaPayloadFingerprint == candidateMediaPayloadFingerprint);
}

std::vector<FingerprintedMediaFile> MediaIdentityMatcher::uniqueUnrecorded(
    const std::vector<FingerprintedMediaFile>& files, Fingerprints recordedSourceFingerprints,
    Fingerprints recordedPayloadFingerprints) {
  std::vector<FingerprintedMediaFile> unique;
  for (const FingerprintedMediaFile& file : files) {
    const bool isNew = recordedSourceFingerprints.insert(file.sourceFingerprint).second &&
                       (!file.mediaPayloadFingerprint ||
                        recordedPayloadFingerprints.insert(*file.mediaPayloadFingerprint).second);
    if (isNew) {
      unique.push_back(file);
    }
  }
  return unique;
}

std::vector<std::string> MediaIdentityMatcher::recordedAssetIdentifiers(
    const std::vector<FingerprintedMediaFile>& files, const ImportRecords& records) {
  Fingerprints sources;
  Fingerprints payloads;
  for (const FingerprintedMediaFile& file : files) {
    sources.insert(file.sourceFingerprint);
    if (file.mediaPayloadFingerprint) {
      payloads.insert(*file.mediaPayloadFingerprint);
    }
  }
  std::set<std::string> identifiers;
  for (const ImportRecord& record : records) {
    const bool isOfFiles =
        sources.contains(record.sourceFingerprint) ||
        (record.mediaPayloadFingerprint && payloads.contains(*record.mediaPayloadFingerprint));
    if (isOfFiles && record.photosAssetIdentifier) {
      identifiers.insert(*record.photosAssetIdentifier);
    }
  }
  return {identifiers.begin(), identifiers.end()};
}

}  // namespace tolvander
