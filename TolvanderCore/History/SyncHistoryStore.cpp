#include "TolvanderCore/SyncHistoryStore.h"

#include <errno.h>

#include <algorithm>
#include <exception>
#include <span>
#include <unordered_map>
#include <utility>

#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/AtomicFile.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander {

namespace {

void merge(HistoryDatabase& database, const std::vector<ImportRecord>& records) {
  std::unordered_map<std::string_view, const ImportRecord*> accepted;
  std::vector<ImportRecord> changes;
  for (const ImportRecord& incoming : records) {
    const auto earlier = accepted.find(incoming.sourceFingerprint);
    const ImportRecord* known =
        earlier != accepted.end() ? earlier->second : database.imports.find(incoming.sourceFingerprint);
    if (!incoming.isContentConfirmed() && known != nullptr && known->isContentConfirmed()) {
      continue;
    }
    accepted[incoming.sourceFingerprint] = &incoming;
    changes.push_back(incoming);
    // Only a comparison of content resolves an interrupted import.
    if (incoming.isContentConfirmed()) {
      database.pendingImports.erase(incoming.sourceFingerprint);
      database.pendingProcessedFingerprints.erase(incoming.sourceFingerprint);
    }
  }
  database.imports.insertOrAssign(std::move(changes));
}

bool canUpgradePayload(const ImportRecord* record, const FingerprintedMediaFile& file) {
  return file.mediaPayloadFingerprint &&
         file.mediaPayloadFingerprint->starts_with(CharmeraMediaProcessor::jpegPayloadScheme) &&
         record != nullptr && record->isContentConfirmed() &&
         record->mediaPayloadFingerprint != file.mediaPayloadFingerprint;
}

FileURL journalBeside(const FileURL& historyFile) {
  return historyFile.deletingLastPathComponent().appending("trash-intents.jsonl");
}

std::set<UUID> identitiesOf(const std::vector<ManagedTrashRecord>& records) {
  std::set<UUID> ids;
  for (const ManagedTrashRecord& record : records) {
    ids.insert(record.id);
  }
  return ids;
}

void update(std::vector<ManagedTrashRecord>& trash, const std::set<UUID>& deleted,
            const std::vector<ManagedTrashRecord>& relocated) {
  std::map<UUID, ManagedTrashRecord> replacements;
  for (const ManagedTrashRecord& record : relocated) {
    replacements.insert_or_assign(record.id, record);
  }
  std::erase_if(trash, [&](const ManagedTrashRecord& record) { return deleted.contains(record.id); });
  for (ManagedTrashRecord& record : trash) {
    if (const auto replacement = replacements.find(record.id); replacement != replacements.end()) {
      record = replacement->second;
    }
  }
}

// Absent if the file doesn't exist or holds no identity.
std::optional<UUID> readIdentity(const FileURL& file) {
  constexpr std::uint64_t textLength = 36;
  try {
    WholeFile whole(file);
    if (whole.byteCount() != textLength + 1) {
      return std::nullopt;
    }
    const std::vector<std::byte> bytes = whole.contents({});
    return UUID::fromText({reinterpret_cast<const char*>(bytes.data()), textLength});
  } catch (const PosixError& error) {
    if (error.code() != ENOENT) {
      throw;
    }
    return std::nullopt;
  }
}

UUID makeIdentity(const FileURL& file) {
  const UUID identity = UUID::random();
  const std::string text = identity.text() + "\n";
  createDirectories(file.deletingLastPathComponent(), Durability::survivesPowerLoss);
  AtomicFile::removeLeftovers(file);
  AtomicFile replacement(file, Durability::survivesPowerLoss);
  replacement.write(std::as_bytes(std::span(text)));
  replacement.commit();
  return identity;
}

// Whether a folder or file on the path is a broken symbolic link. The history is then probably on a disk that
// isn't mounted, and must not be taken for one that was never written.
bool leadsThroughBrokenLink(FileURL url) {
  for (; url.path() != "/"; url = url.deletingLastPathComponent()) {
    try {
      return fileResourceValues(url).isSymbolicLink && !fileExists(url);
    } catch (const PosixError&) {
      continue;  // doesn't exist; look at the folder above
    }
  }
  return false;
}

}  // namespace

SyncHistoryStore::PayloadFingerprints SyncHistoryStore::payloadFingerprints(const ImportRecords& records) {
  PayloadFingerprints fingerprints;
  fingerprints.reserve(records.size());
  for (const ImportRecord& record : records) {
    if (record.mediaPayloadFingerprint) {
      fingerprints.insert(*record.mediaPayloadFingerprint);
    }
  }
  return fingerprints;
}

FileURL SyncHistoryStore::historyFile(const StandardDirectories& directories) {
  precondition(directories.applicationSupport.has_value(), "the user has a folder for application data");
  return directories.applicationSupport->appending("Tolvander").appending("history.json");
}

SyncHistoryStore::SyncHistoryStore(FileURL fileURL, std::function<void()> requireRight)
    : fileURL_(std::move(fileURL)),
      requireRight_(std::move(requireRight)),
      trashIntents_(journalBeside(fileURL_)) {
  AtomicFile::removeLeftovers(fileURL_);
  try {
    database_ = readHistory(fileURL_);
  } catch (const PosixError& error) {
    // A missing file means that this is the first run.
    loadFailed_ = error.code() != ENOENT || leadsThroughBrokenLink(fileURL_);
  } catch (const std::exception&) {
    loadFailed_ = true;
  }
  payloadFingerprints_ = payloadFingerprints(database_.imports);
}

void SyncHistoryStore::ensureAvailable() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
}

FileURL SyncHistoryStore::identityFile() const {
  return fileURL_.deletingLastPathComponent().appending("history.id");
}

std::optional<UUID> SyncHistoryStore::knownIdentity() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  if (!identity_) {
    identity_ = readIdentity(identityFile());
  }
  return identity_;
}

UUID SyncHistoryStore::identity() {
  if (const auto known = knownIdentity()) {
    return *known;
  }
  const std::lock_guard lock(mutex_);
  if (!identity_) {
    requireRight();
    identity_ = makeIdentity(identityFile());
  }
  return *identity_;
}

bool SyncHistoryStore::containsFingerprint(std::string_view fingerprint) {
  return containsSourceFingerprint(fingerprint);
}

bool SyncHistoryStore::containsSourceFingerprint(std::string_view sourceFingerprint) {
  return contains(sourceFingerprint, std::nullopt);
}

bool SyncHistoryStore::containsMediaPayloadFingerprint(std::string_view mediaPayloadFingerprint) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return payloadFingerprints_.contains(mediaPayloadFingerprint);
}

bool SyncHistoryStore::containsProcessedFingerprint(std::string_view processedFingerprint) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return std::ranges::any_of(database_.imports, [&](const ImportRecord& record) {
    return record.processedFingerprint == processedFingerprint;
  });
}

bool SyncHistoryStore::contains(std::string_view sourceFingerprint,
                                const std::optional<std::string>& mediaPayloadFingerprint) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return database_.imports.contains(sourceFingerprint) ||
         (mediaPayloadFingerprint && payloadFingerprints_.contains(*mediaPayloadFingerprint));
}

void SyncHistoryStore::record(const std::vector<ImportRecord>& records) {
  change([&](HistoryDatabase& next) { merge(next, records); });
}

void SyncHistoryStore::record(const ImportRecord& record) { this->record(std::vector{record}); }

void SyncHistoryStore::beginImport(const std::vector<std::string>& sourceFingerprints) {
  change([&](HistoryDatabase& next) {
    next.pendingImports.insert(sourceFingerprints.begin(), sourceFingerprints.end());
  });
}

void SyncHistoryStore::beginPreparedImport(const std::vector<PreparedMediaFile>& files) {
  change([&](HistoryDatabase& next) {
    for (const PreparedMediaFile& file : files) {
      next.pendingImports.insert(file.sourceFingerprint);
      next.pendingProcessedFingerprints[file.sourceFingerprint] = file.processedFingerprint;
    }
  });
}

void SyncHistoryStore::abandonFailedImport(const std::vector<std::string>& sourceFingerprints) {
  change([&](HistoryDatabase& next) {
    for (const std::string& source : sourceFingerprints) {
      next.pendingImports.erase(source);
      next.pendingProcessedFingerprints.erase(source);
    }
  });
}

std::set<std::string> SyncHistoryStore::pendingImportSources() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return database_.pendingImports;
}

std::map<std::string, std::string> SyncHistoryStore::pendingProcessedFingerprints() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return database_.pendingProcessedFingerprints;
}

ImportRecords SyncHistoryStore::records() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return database_.imports;
}

ImportHistorySummary SyncHistoryStore::historySummary() { return ImportHistorySummary::of(records()); }

void SyncHistoryStore::upgradePayloadIdentities(const std::vector<FingerprintedMediaFile>& files) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  std::vector<ImportRecord> upgraded;
  for (const FingerprintedMediaFile& file : files) {
    const ImportRecord* record = database_.imports.find(file.sourceFingerprint);
    if (canUpgradePayload(record, file)) {
      upgraded.push_back(*record);
      upgraded.back().mediaPayloadFingerprint = file.mediaPayloadFingerprint;
    }
  }
  if (upgraded.empty()) {
    return;
  }
  HistoryDatabase next = database_;
  merge(next, upgraded);
  save(std::move(next));
}

void SyncHistoryStore::beginTrashMove(const TrashIntent& intent) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  requireRight();
  trashIntents_.add(intent);
  ownTrashIntents_.insert(intent.id);
}

void SyncHistoryStore::forgetTrashIntents(const std::set<UUID>& ids) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  removeIntents(ids);
}

void SyncHistoryStore::removeIntents(const std::set<UUID>& ids) {
  requireRight();
  trashIntents_.remove(ids);
}

std::vector<TrashIntent> SyncHistoryStore::unsettledTrashIntents() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  const std::set<UUID> recorded = identitiesOf(database_.trash);
  std::vector<TrashIntent> unsettled = trashIntents_.intents();
  std::erase_if(unsettled, [&](const TrashIntent& intent) {
    return recorded.contains(intent.id) || ownTrashIntents_.contains(intent.id);
  });
  return unsettled;
}

void SyncHistoryStore::settleTrash(const TrashSettlement& settlement) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  const bool changesRecords =
      !settlement.found.empty() || !settlement.relocated.empty() || !settlement.emptied.empty();
  if (changesRecords) {
    changeLocked([&](HistoryDatabase& next) {
      update(next.trash, settlement.emptied, settlement.relocated);
      next.trash.insert(next.trash.end(), settlement.found.begin(), settlement.found.end());
    });
  }
  removeIntents(settlement.settledIntents);
}

void SyncHistoryStore::addTrash(const std::vector<ManagedTrashRecord>& records) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  changeLocked(
      [&](HistoryDatabase& next) { next.trash.insert(next.trash.end(), records.begin(), records.end()); });
  forgetRecordedIntents(identitiesOf(records));
}

// A remaining intent does no harm: it is ignored because the record with its id exists.
void SyncHistoryStore::forgetRecordedIntents(const std::set<UUID>& ids) noexcept {
  try {
    removeIntents(ids);
  } catch (const std::exception&) {
    return;
  }
}

std::vector<ManagedTrashRecord> SyncHistoryStore::trashRecords() {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  return database_.trash;
}

void SyncHistoryStore::removeTrash(const std::set<UUID>& ids) { updateTrash(ids, {}); }

void SyncHistoryStore::updateTrash(const std::set<UUID>& deleted,
                                   const std::vector<ManagedTrashRecord>& relocated) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  // An intent that is still there must be removed before its record. Without the record, a file that the user
  // moves to the Trash later could be taken for the one that the intent describes.
  removeIntents(deleted);
  changeLocked([&](HistoryDatabase& next) { update(next.trash, deleted, relocated); });
}

void SyncHistoryStore::requireAvailable() const {
  if (loadFailed_) {
    throw SyncHistoryError(SyncHistoryError::Case::unreadableHistory);
  }
}

void SyncHistoryStore::requireRight() const {
  if (requireRight_) {
    requireRight_();
  }
}

void SyncHistoryStore::change(const std::function<void(HistoryDatabase&)>& edit) {
  const std::lock_guard lock(mutex_);
  requireAvailable();
  changeLocked(edit);
}

void SyncHistoryStore::changeLocked(const std::function<void(HistoryDatabase&)>& edit) {
  HistoryDatabase next = database_;
  edit(next);
  save(std::move(next));
}

void SyncHistoryStore::save(HistoryDatabase next) {
  requireRight();
  PayloadFingerprints nextPayloads = payloadFingerprints(next.imports);
  createDirectories(fileURL_.deletingLastPathComponent(), Durability::survivesPowerLoss);
  AtomicFile file(fileURL_, Durability::survivesPowerLoss);
  writeHistory(next, [&file](std::span<const std::byte> bytes) { file.write(bytes); });
  file.commit();
  // Memory is updated only after the file is durable, and by moves, which don't throw.
  database_ = std::move(next);
  payloadFingerprints_ = std::move(nextPayloads);
}

}  // namespace tolvander
