#include "TolvanderCore/SyncCoordinator.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/Sync/MediaIdentityMatcher.h"

namespace tolvander {

namespace {

using Files = std::vector<FingerprintedMediaFile>;

// Whether the library holds the file's item from an interrupted import.
bool isHeld(const FingerprintedMediaFile& file, const std::set<std::string>& heldFingerprints) {
  return file.requiresExactReconciliation && file.pendingProcessedFingerprint &&
         heldFingerprints.contains(*file.pendingProcessedFingerprint);
}

bool isFound(const LibraryReconciliation& found, const std::string& sourceFingerprint) {
  return found.matches.contains(sourceFingerprint) || found.metadataMatches.contains(sourceFingerprint);
}

std::set<std::string> unresolvedSources(const LibraryReconciliation& found) {
  std::set<std::string> unresolved = found.unchecked;
  std::erase_if(unresolved, [&](const std::string& source) { return isFound(found, source); });
  return unresolved;
}

// The record of a recognised library item, with the fields that both kinds of evidence have.
ImportRecord recordOf(const FingerprintedMediaFile& file, std::string assetIdentifier, Date now,
                      ImportEvidence evidence) {
  ImportRecord record;
  record.sourceFingerprint = file.sourceFingerprint;
  record.filename = file.file.filename;
  record.relativePath = file.file.relativePath;
  record.byteCount = file.file.byteCount;
  record.importedAt = now;
  record.photosAssetIdentifier = std::move(assetIdentifier);
  record.wasReconciled = true;
  record.evidence = evidence;
  return record;
}

}  // namespace

SyncCoordinator::SyncCoordinator(std::shared_ptr<SyncHistoryStore> history, Dependencies dependencies,
                                 Clock clock)
    : history_(std::move(history)), dependencies_(std::move(dependencies)), clock_(std::move(clock)) {}

SyncResult SyncCoordinator::run(const std::vector<CameraMediaFile>& files, bool isCharmera,
                                const std::optional<std::string>& album,
                                const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::checkingAccess);
  history_->ensureAvailable();
  const std::set<std::string> heldFingerprints = completeInterruptedImports();

  checkpoint(token);
  report(SyncPhase::Kind::fingerprinting);
  const Files scanned = withPendingIdentities(dependencies_.fingerprint(files, isCharmera));
  history_->upgradePayloadIdentities(scanned);
  const Files unique = needingSearch(scanned, history_->records(), heldFingerprints);

  const LibraryReconciliation found = recognize(unique, token);
  // If any file is undecided, import nothing: a search that stopped at its limits can't rule out a duplicate.
  requireVerdicts(unresolvedSources(found).empty(), found.budgetExceeded);
  requireNoInterruptedImport(scanned, found.matches);
  const Files importable = filesWhere(
      unique, [&](const FingerprintedMediaFile& file) { return !isFound(found, file.sourceFingerprint); });

  SyncResult result;
  result.imported = importMissing(importable, isCharmera, token);
  completeAlbum(scanned, album, token);
  report(SyncPhase::Kind::finished);

  std::map<std::string, std::string> metadataOnly = found.metadataMatches;
  std::erase_if(metadataOnly, [&](const auto& match) { return found.matches.contains(match.first); });
  result.scannedCount = static_cast<std::int64_t>(scanned.size());
  result.recognizedCount = static_cast<std::int64_t>(found.matches.size());
  result.metadataMatchedCount = static_cast<std::int64_t>(metadataOnly.size());
  for (const FingerprintedMediaFile& file : unique) {
    if (metadataOnly.contains(file.sourceFingerprint)) {
      result.metadataMatchedFiles.push_back(file.file);
    }
  }
  return result;
}

// A file of an interrupted import is searched for even if it has a record, and that record doesn't exclude
// another file with the same payload.
SyncCoordinator::Files SyncCoordinator::needingSearch(const Files& scanned, const ImportRecords& records,
                                                      const std::set<std::string>& heldFingerprints) {
  MediaIdentityMatcher::Fingerprints interrupted;
  for (const FingerprintedMediaFile& file : scanned) {
    if (file.requiresExactReconciliation) {
      interrupted.insert(file.sourceFingerprint);
    }
  }
  MediaIdentityMatcher::Fingerprints sources;
  MediaIdentityMatcher::Fingerprints payloads;
  sources.reserve(records.size());
  payloads.reserve(records.size());
  for (const ImportRecord& record : records) {
    if (interrupted.contains(record.sourceFingerprint)) {
      continue;
    }
    sources.insert(record.sourceFingerprint);
    if (record.mediaPayloadFingerprint) {
      payloads.insert(*record.mediaPayloadFingerprint);
    }
  }
  return uniqueFiles(scanned, std::move(sources), std::move(payloads), heldFingerprints);
}

SyncCoordinator::Files SyncCoordinator::uniqueFiles(const Files& scanned,
                                                    MediaIdentityMatcher::Fingerprints recordedSources,
                                                    MediaIdentityMatcher::Fingerprints recordedPayloads,
                                                    const std::set<std::string>& heldFingerprints) {
  std::set<std::string> sources;
  Files others;
  for (const FingerprintedMediaFile& file : scanned) {
    if (!isHeld(file, heldFingerprints)) {
      others.push_back(file);
      continue;
    }
    sources.insert(file.sourceFingerprint);
    recordedSources.insert(file.sourceFingerprint);
    if (file.mediaPayloadFingerprint) {
      recordedPayloads.insert(*file.mediaPayloadFingerprint);
    }
  }
  for (const FingerprintedMediaFile& file : MediaIdentityMatcher::uniqueUnrecorded(
           others, std::move(recordedSources), std::move(recordedPayloads))) {
    sources.insert(file.sourceFingerprint);
  }
  return filesWhere(scanned, [&](const FingerprintedMediaFile& file) {
    return sources.erase(file.sourceFingerprint) > 0;  // true for the first file of each source
  });
}

std::set<std::string> SyncCoordinator::completeInterruptedImports() const {
  return dependencies_.completeInterruptedImports ? dependencies_.completeInterruptedImports()
                                                  : std::set<std::string>();
}

SyncCoordinator::Files SyncCoordinator::filesWhere(
    const Files& files, const std::function<bool(const FingerprintedMediaFile& file)>& holds) {
  Files chosen;
  std::ranges::copy_if(files, std::back_inserter(chosen), holds);
  return chosen;
}

void SyncCoordinator::requireVerdicts(bool areAllThere, bool budgetExceeded) {
  if (!areAllThere) {
    throw RecognitionError(budgetExceeded ? RecognitionError::Case::budgetExceeded
                                          : RecognitionError::Case::resourceUnavailable);
  }
}

void SyncCoordinator::checkpoint(const CancellationToken& token) const {
  token.throwIfCancelled();
  dependencies_.checkAccess();
}

void SyncCoordinator::report(SyncPhase::Kind kind) const { dependencies_.phase({.kind = kind}); }

SyncCoordinator::Files SyncCoordinator::withPendingIdentities(Files files) const {
  const std::set<std::string> pending = history_->pendingImportSources();
  const std::map<std::string, std::string> processed = history_->pendingProcessedFingerprints();
  for (FingerprintedMediaFile& file : files) {
    const auto fingerprint = processed.find(file.sourceFingerprint);
    file.pendingProcessedFingerprint =
        fingerprint == processed.end() ? std::nullopt : std::optional(fingerprint->second);
    file.requiresExactReconciliation = pending.contains(file.sourceFingerprint);
  }
  return files;
}

void SyncCoordinator::recordMatches(const Files& files,
                                    const std::map<std::string, LibraryMatch>& matches) const {
  std::vector<ImportRecord> records;
  for (const FingerprintedMediaFile& file : files) {
    const auto found = matches.find(file.sourceFingerprint);
    if (found == matches.end()) {
      continue;
    }
    const LibraryMatch& match = found->second;
    ImportRecord record = recordOf(file, match.assetIdentifier, clock_(), ImportEvidence::contentConfirmed);
    record.mediaPayloadFingerprint =
        file.mediaPayloadFingerprint ? file.mediaPayloadFingerprint : match.mediaPayloadFingerprint;
    record.processedFingerprint = match.resourceFingerprint;
    records.push_back(std::move(record));
  }
  if (!records.empty()) {
    history_->record(records);
  }
}

void SyncCoordinator::recordMetadataMatches(const Files& files,
                                            const std::map<std::string, std::string>& matches) const {
  std::vector<ImportRecord> records;
  for (const FingerprintedMediaFile& file : files) {
    const auto found = matches.find(file.sourceFingerprint);
    if (found != matches.end() && !file.requiresExactReconciliation) {
      records.push_back(recordOf(file, found->second, clock_(), ImportEvidence::metadataOnly));
    }
  }
  if (!records.empty()) {
    history_->record(records);
  }
}

LibraryReconciliation SyncCoordinator::recognize(const Files& files, const CancellationToken& token) const {
  LibraryReconciliation first = recognizeOnce(files, false, token);
  const std::set<std::string> retry = unresolvedSources(first);
  if (!first.budgetExceeded || retry.empty()) {
    return first;
  }
  const Files retryFiles = filesWhere(
      files, [&](const FingerprintedMediaFile& file) { return retry.contains(file.sourceFingerprint); });
  LibraryReconciliation second = recognizeOnce(retryFiles, true, token);
  second.matches.merge(first.matches);
  second.metadataMatches.merge(first.metadataMatches);
  return second;
}

LibraryReconciliation SyncCoordinator::recognizeOnce(const Files& files, bool broader,
                                                     const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::recognizing);
  LibraryReconciliation found = dependencies_.reconcile(files, broader);
  recordMatches(files, found.matches);
  recordMetadataMatches(files, found.metadataMatches);
  return found;
}

void SyncCoordinator::requireNoInterruptedImport(const Files& scanned,
                                                 const std::map<std::string, LibraryMatch>& matches) const {
  const std::set<std::string> pending = history_->pendingImportSources();
  // Upgrading an old record also removes the mark of its source, and proves nothing about what the
  // interrupted import left in the library. So a mark counts too if it was there when this run read the
  // marks.
  const bool isInterrupted = std::ranges::any_of(scanned, [&](const FingerprintedMediaFile& file) {
    return pending.contains(file.sourceFingerprint) ||
           (file.requiresExactReconciliation && !matches.contains(file.sourceFingerprint));
  });
  if (isInterrupted) {
    throw SyncHistoryError(SyncHistoryError::Case::unresolvedImport);
  }
}

SyncCoordinator::Files SyncCoordinator::importMissing(const Files& files, bool isCharmera,
                                                      const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::preparing);
  return files.empty() ? Files() : dependencies_.importFiles(files, isCharmera);
}

void SyncCoordinator::completeAlbum(const Files& scanned, const std::optional<std::string>& album,
                                    const CancellationToken& token) const {
  checkpoint(token);
  report(SyncPhase::Kind::album);
  if (album) {
    // Reads the records again, so that the album also gets the assets that this sync recorded.
    dependencies_.addToAlbum(MediaIdentityMatcher::recordedAssetIdentifiers(scanned, history_->records()),
                             *album);
  }
}

}  // namespace tolvander
