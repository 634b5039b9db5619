#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "TolvanderCore/Sync/MediaIdentityMatcher.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander {

namespace {

using Files = std::vector<FingerprintedMediaFile>;

// Finds the records of a file in constant time.
class RecordIndex {
 public:
  // `records` must outlive the index.
  explicit RecordIndex(const ImportRecords& records) : records_(records) {
    byPayload_.reserve(records.size());
    for (const ImportRecord& record : records) {
      if (record.mediaPayloadFingerprint) {
        byPayload_.emplace(*record.mediaPayloadFingerprint, &record);
      }
    }
  }

  // The records with the file's source or payload. A record on metadata only has no payload and is found by
  // its source.
  std::vector<const ImportRecord*> matching(const FingerprintedMediaFile& file) const {
    std::vector<const ImportRecord*> found;
    if (const ImportRecord* record = records_.find(file.sourceFingerprint)) {
      found.push_back(record);
    }
    if (file.mediaPayloadFingerprint) {
      const auto [begin, end] = byPayload_.equal_range(*file.mediaPayloadFingerprint);
      for (auto entry = begin; entry != end; ++entry) {
        found.push_back(entry->second);
      }
    }
    return found;
  }

 private:
  const ImportRecords& records_;
  std::unordered_multimap<std::string_view, const ImportRecord*> byPayload_;
};

void append(Files& files, const Files& others) { files.insert(files.end(), others.begin(), others.end()); }

// Whether importing the files could repeat an interrupted import. Of a picture that is on the card twice only
// one file is examined, and the mark of the interrupted import may be on the other one.
bool couldRepeatInterruptedImport(const Files& importable, const Files& scanned) {
  MediaIdentityMatcher::Fingerprints interruptedPayloads;
  for (const FingerprintedMediaFile& file : scanned) {
    if (file.requiresExactReconciliation && file.mediaPayloadFingerprint) {
      interruptedPayloads.insert(*file.mediaPayloadFingerprint);
    }
  }
  return std::ranges::any_of(importable, [&](const FingerprintedMediaFile& file) {
    return file.requiresExactReconciliation ||
           (file.mediaPayloadFingerprint && interruptedPayloads.contains(*file.mediaPayloadFingerprint));
  });
}

// The sources of the files that were found in the library by metadata only.
std::unordered_set<std::string_view> metadataSources(const Files& recorded,
                                                     const std::map<std::string, std::string>& recognized,
                                                     const std::set<std::string>& pending) {
  std::unordered_set<std::string_view> sources;
  for (const FingerprintedMediaFile& file : recorded) {
    sources.insert(file.sourceFingerprint);
  }
  for (const auto& [source, asset] : recognized) {
    sources.insert(source);
  }
  for (const std::string& source : pending) {
    sources.erase(source);
  }
  return sources;
}

}  // namespace

struct SyncCoordinator::RecordedState {
  Files represented;  // with a confirmed record whose asset exists
  Files metadata;     // with a metadata record whose asset exists
  Files missing;      // with a record, but no asset exists
  Files newFiles;     // not recorded

  RecordedState(const Files& files, const ImportRecords& records, const std::set<std::string>& liveAssets) {
    const RecordIndex index(records);
    for (const FingerprintedMediaFile& file : files) {
      listFor(index.matching(file), liveAssets).push_back(file);
    }
  }

  // The files to search the library for.
  Files candidates() const {
    Files files = missing;
    append(files, newFiles);
    append(files, metadata);
    return files;
  }

 private:
  Files& listFor(const std::vector<const ImportRecord*>& matching, const std::set<std::string>& liveAssets) {
    std::vector<const ImportRecord*> existing;
    std::ranges::copy_if(matching, std::back_inserter(existing), [&](const ImportRecord* record) {
      return record->photosAssetIdentifier && liveAssets.contains(*record->photosAssetIdentifier);
    });
    if (std::ranges::any_of(existing, &ImportRecord::isContentConfirmed)) {
      return represented;
    }
    if (!existing.empty()) {
      return metadata;
    }
    return matching.empty() ? newFiles : missing;
  }
};

CameraLibraryReview SyncCoordinator::review(const std::vector<CameraMediaFile>& files, bool isCharmera,
                                            bool broader, const CancellationToken& token) const {
  return review(files, isCharmera, broader, {}, token);
}

CameraLibraryReview SyncCoordinator::reviewBeforeChange(const std::vector<CameraMediaFile>& files,
                                                        bool isCharmera,
                                                        const CancellationToken& token) const {
  checkpoint(token);
  history_->ensureAvailable();
  return review(files, isCharmera, true, completeInterruptedImports(), token);
}

CameraLibraryReview SyncCoordinator::review(const std::vector<CameraMediaFile>& files, bool isCharmera,
                                            bool broader, const std::set<std::string>& heldFingerprints,
                                            const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::fingerprinting);
  history_->ensureAvailable();
  CameraLibraryReview review;
  review.files = withPendingIdentities(dependencies_.fingerprint(files, isCharmera));
  const ImportRecords records = history_->records();
  const std::set<std::string> liveAssets = dependencies_.existingIdentifiers(
      MediaIdentityMatcher::recordedAssetIdentifiers(review.files, records));
  const std::set<std::string> pending = history_->pendingImportSources();
  const RecordedState recorded(uniqueFiles(review.files, {}, {}, heldFingerprints), records, liveAssets);

  checkpoint(token);
  report(SyncPhase::Kind::recognizing);
  const Files candidates = recorded.candidates();
  fillVerdicts(review, recorded, candidates, dependencies_.reconcile(candidates, broader), pending);
  return review;
}

void SyncCoordinator::fillVerdicts(CameraLibraryReview& review, const RecordedState& recorded,
                                   const Files& candidates, LibraryReconciliation found,
                                   const std::set<std::string>& pending) {
  review.budgetExceeded = found.budgetExceeded;
  review.recognized = std::move(found.matches);
  review.metadataRecognized = std::move(found.metadataMatches);
  std::erase_if(review.metadataRecognized, [&](const auto& match) {
    return review.recognized.contains(match.first) || pending.contains(match.first);
  });

  const auto byMetadata = metadataSources(recorded.metadata, review.metadataRecognized, pending);
  const auto isRecognized = [&](const FingerprintedMediaFile& file) {
    return review.recognized.contains(file.sourceFingerprint);
  };
  const auto isByMetadata = [&](const FingerprintedMediaFile& file) {
    return byMetadata.contains(file.sourceFingerprint);
  };
  const auto isUncertain = [&](const FingerprintedMediaFile& file) {
    return pending.contains(file.sourceFingerprint) && !isRecognized(file);
  };
  const auto isOpen = [&](const FingerprintedMediaFile& file) {
    return !isRecognized(file) && !isByMetadata(file) && !isUncertain(file);
  };
  const auto isUnchecked = [&](const FingerprintedMediaFile& file) {
    return isOpen(file) && found.unchecked.contains(file.sourceFingerprint);
  };
  const auto isMissing = [&](const FingerprintedMediaFile& file) {
    return isOpen(file) && !found.unchecked.contains(file.sourceFingerprint);
  };

  review.represented = recorded.represented;
  append(review.represented, filesWhere(candidates, isRecognized));
  review.metadataRepresented = filesWhere(candidates, isByMetadata);
  review.uncertain = filesWhere(candidates, isUncertain);
  review.unchecked = filesWhere(candidates, isUnchecked);
  review.missingRecorded = filesWhere(recorded.missing, isMissing);
  review.newFiles = filesWhere(recorded.newFiles, isMissing);
}

void SyncCoordinator::rememberRecognizedImports(const CameraLibraryReview& review,
                                                const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::checkingAccess);
  completeInterruptedImports();
  remember(review);
}

void SyncCoordinator::remember(const CameraLibraryReview& review) const {
  std::vector<std::string> assets;
  for (const auto& [source, match] : review.recognized) {
    assets.push_back(match.assetIdentifier);
  }
  for (const auto& [source, asset] : review.metadataRecognized) {
    assets.push_back(asset);
  }
  // The review may be old. Items that have been removed from the library since then are not recorded.
  const std::set<std::string> liveAssets = dependencies_.existingIdentifiers(assets);
  std::map<std::string, LibraryMatch> matches = review.recognized;
  std::erase_if(matches,
                [&](const auto& match) { return !liveAssets.contains(match.second.assetIdentifier); });
  std::map<std::string, std::string> metadataMatches = review.metadataRecognized;
  std::erase_if(metadataMatches, [&](const auto& match) { return !liveAssets.contains(match.second); });
  recordMatches(review.files, matches);
  recordMetadataMatches(review.files, metadataMatches);
}

SyncResult SyncCoordinator::restore(const CameraLibraryReview& review, bool isCharmera,
                                    const std::optional<std::string>& album,
                                    const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::checkingAccess);
  const std::set<std::string> heldFingerprints = completeInterruptedImports();
  remember(review);

  std::vector<CameraMediaFile> cameraFiles;
  for (const FingerprintedMediaFile& file : review.files) {
    cameraFiles.push_back(file.file);
  }
  const CameraLibraryReview fresh = this->review(cameraFiles, isCharmera, true, heldFingerprints, token);
  // Also removes the marks of interrupted imports whose items were found.
  recordMatches(fresh.files, fresh.recognized);
  recordMetadataMatches(fresh.files, fresh.metadataRecognized);

  Files missing = fresh.missingRecorded;
  append(missing, fresh.newFiles);
  if (!fresh.uncertain.empty() || couldRepeatInterruptedImport(missing, fresh.files)) {
    throw SyncHistoryError(SyncHistoryError::Case::unresolvedImport);
  }
  requireVerdicts(fresh.unchecked.empty(), fresh.budgetExceeded);

  SyncResult result;
  result.imported = importMissing(missing, isCharmera, token);
  completeAlbum(fresh.files, album, token);
  report(SyncPhase::Kind::finished);

  result.scannedCount = static_cast<std::int64_t>(fresh.files.size());
  result.recognizedCount = static_cast<std::int64_t>(fresh.recognized.size());
  result.metadataMatchedCount = static_cast<std::int64_t>(fresh.metadataRepresented.size());
  for (const FingerprintedMediaFile& file : fresh.metadataRepresented) {
    result.metadataMatchedFiles.push_back(file.file);
  }
  return result;
}

}  // namespace tolvander
