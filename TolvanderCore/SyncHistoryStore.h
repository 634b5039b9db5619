#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "TolvanderCore/Concurrency/FairMutex.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/HistoryDatabase.h"
#include "TolvanderCore/ImportHistorySummary.h"
#include "TolvanderCore/Platform/StandardDirectories.h"
#include "TolvanderCore/PreparedMediaFile.h"
#include "TolvanderCore/SyncHistoryError.h"
#include "TolvanderCore/TrashIntentJournal.h"
#include "TolvanderCore/TrashSettlement.h"

namespace tolvander {

// The program's persistent state: which camera files are in the library, which were moved to the Trash, and
// the marks of imports that were begun and not yet resolved. Only this class writes the history file. Safe on
// every thread: operations run one at a time, in the order in which they were called.
//
// If the file could not be read at the start, every operation throws SyncHistoryError::unreadableHistory and
// changes nothing: an empty answer could be taken for an empty library. An operation that changes the history
// throws PosixError if the file can't be written; file and memory are then as before. When it returns, the
// change survives a power loss.
class SyncHistoryStore {
 public:
  // The path of the history file. `directories` must have a folder for application data; without one the
  // process ends.
  static FileURL historyFile(const StandardDirectories& directories);

  // Loads the file, which need not exist. An unreadable file is not changed. If a symbolic link in the path
  // is broken, the file counts as unreadable and not as missing. Never throws. `requireRight` is called
  // before each change of a file; if this process is no longer allowed to make changes, it throws, and so
  // does the change.
  explicit SyncHistoryStore(FileURL fileURL = SyncHistoryStore::historyFile(StandardDirectories::current()),
                            std::function<void()> requireRight = {});

  const FileURL& fileURL() const { return fileURL_; }

  void ensureAvailable();

  // Distinguishes this history from others that import into the same library. Created by the first call and
  // stored as text and a line feed in the file "history.id" beside the history file; it stays when the
  // history file is deleted. A file with another content is replaced. Durable when it returns. Throws
  // PosixError.
  UUID identity();

  // The identity, or absent if none was created yet.
  std::optional<UUID> knownIdentity();

  bool containsFingerprint(std::string_view fingerprint);
  bool containsSourceFingerprint(std::string_view sourceFingerprint);
  bool containsMediaPayloadFingerprint(std::string_view mediaPayloadFingerprint);

  // Whether a record has this processed fingerprint. Linear in the number of records.
  bool containsProcessedFingerprint(std::string_view processedFingerprint);

  // Whether there is a record of the source or, if one is given, of the payload.
  bool contains(std::string_view sourceFingerprint,
                const std::optional<std::string>& mediaPayloadFingerprint);

  // Adds records, or replaces those of the same source. A record on metadata only doesn't replace one that is
  // confirmed by content, and doesn't remove the mark of its source. Saves the file even for an empty list.
  void record(const std::vector<ImportRecord>& records);
  void record(const ImportRecord& record);

  // Saves the marks of imports that are about to begin.
  void beginImport(const std::vector<std::string>& sourceFingerprints);
  void beginPreparedImport(const std::vector<PreparedMediaFile>& files);

  // Removes marks. To be called only for files that the library certainly doesn't hold.
  void abandonFailedImport(const std::vector<std::string>& sourceFingerprints);

  std::set<std::string> pendingImportSources();
  std::map<std::string, std::string> pendingProcessedFingerprints();

  // A snapshot of all records.
  ImportRecords records();
  ImportHistorySummary historySummary();

  // Updates the payload fingerprints of records that were made with an earlier scheme to those of `files`.
  // Saves once, or not at all if there is nothing to update.
  void upgradePayloadIdentities(const std::vector<FingerprintedMediaFile>& files);

  // Saves the intent of a move to the Trash in a file beside the history (write-ahead). It is removed by
  // addTrash with a record of the same id, or by forgetTrashIntents.
  void beginTrashMove(const TrashIntent& intent);

  // Removes the intents of files that were not moved after all. Throws PosixError if an intent can't be
  // removed.
  void forgetTrashIntents(const std::set<UUID>& ids);

  // The moves that an earlier process began and didn't record.
  std::vector<TrashIntent> unsettledTrashIntents();

  // Applies the result of inspecting the Trash, and removes the settled intents. Saves the history at most
  // once.
  void settleTrash(const TrashSettlement& settlement);

  void addTrash(const std::vector<ManagedTrashRecord>& records);
  std::vector<ManagedTrashRecord> trashRecords();

  // Saves even if there is no record with one of the ids.
  void removeTrash(const std::set<UUID>& ids);

  // Removes the records in `deleted`, and replaces those with the ids of `relocated`, keeping the order. An
  // id in both is removed; a relocated record with an unknown id is ignored.
  void updateTrash(const std::set<UUID>& deleted, const std::vector<ManagedTrashRecord>& relocated);

 private:
  // Views into the shared records, for lookups by payload in constant time.
  using PayloadFingerprints = std::unordered_set<std::string_view>;
  static PayloadFingerprints payloadFingerprints(const ImportRecords& records);

  void requireAvailable() const;
  FileURL identityFile() const;
  void requireRight() const;
  void change(const std::function<void(HistoryDatabase&)>& edit);
  void changeLocked(const std::function<void(HistoryDatabase&)>& edit);
  void removeIntents(const std::set<UUID>& ids);
  void forgetRecordedIntents(const std::set<UUID>& ids) noexcept;
  void save(HistoryDatabase next);

  FairMutex mutex_;
  const FileURL fileURL_;
  const std::function<void()> requireRight_;
  bool loadFailed_ = false;
  std::optional<UUID> identity_;
  HistoryDatabase database_;
  PayloadFingerprints payloadFingerprints_;  // of database_.imports
  TrashIntentJournal trashIntents_;
  std::set<UUID> ownTrashIntents_;  // those of this process
};

}  // namespace tolvander
