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

// The one durable memory of the program: what is in the library, what was moved to the Trash, and the marks
// of imports that were begun and not yet resolved. A serialised owner: safe on every thread, one operation at
// a time, first come first served. Nothing else writes the file.
//
// Every operation throws SyncHistoryError::unreadableHistory when the file couldn't be read at the start, and
// then touches neither memory nor disk: an empty answer could be taken for an empty library. A changing
// operation throws PosixError when the file can't be written; the file and memory are then as before. When it
// returns, the change is on disk and survives a power loss.
class SyncHistoryStore {
 public:
  // Where the history lies among a user's files. A user without a place for application data can't go on: the
  // process ends.
  static FileURL historyFile(const StandardDirectories& directories);

  // Loads the file, which need not exist. An unreadable file is left as it is, to the last byte. Never
  // throws. A file that can't be reached because a link on the way to it is broken counts as unreadable, not
  // as missing. `requireRight` is called before each change of a file and throws where this process may no
  // longer make it; the change then throws that.
  explicit SyncHistoryStore(FileURL fileURL = SyncHistoryStore::historyFile(StandardDirectories::current()),
                            std::function<void()> requireRight = {});

  const FileURL& fileURL() const { return fileURL_; }

  void ensureAvailable();

  // Tells this history from others that import into the same library. Made when it is first asked for, and
  // kept in the file "history.id" beside the history's, which it outlives: its text form and a line end. A
  // file that says something else is replaced. Durable when it returns. Throws PosixError.
  UUID identity();
  // The same where it was made, without making it.
  std::optional<UUID> knownIdentity();

  bool containsFingerprint(std::string_view fingerprint);
  bool containsSourceFingerprint(std::string_view sourceFingerprint);
  bool containsMediaPayloadFingerprint(std::string_view mediaPayloadFingerprint);
  // Whether a record says that the library was given these bytes. Looks at every record.
  bool containsProcessedFingerprint(std::string_view processedFingerprint);
  // Whether the source is known, or else the payload, if one is given.
  bool contains(std::string_view sourceFingerprint,
                const std::optional<std::string>& mediaPayloadFingerprint);

  // Adds records, or replaces those of the same source. Weaker evidence never replaces stronger, and only a
  // record on content clears the mark of its source. Saves, also for an empty list.
  void record(const std::vector<ImportRecord>& records);
  void record(const ImportRecord& record);

  // Writes the marks of imports about to begin.
  void beginImport(const std::vector<std::string>& sourceFingerprints);
  void beginPreparedImport(const std::vector<PreparedMediaFile>& files);

  // Takes marks back. Only for files that the library has definitely not taken.
  void abandonFailedImport(const std::vector<std::string>& sourceFingerprints);

  std::set<std::string> pendingImportSources();
  std::map<std::string, std::string> pendingProcessedFingerprints();

  // All records as they stand now; later changes don't show in what was returned.
  ImportRecords records();
  ImportHistorySummary historySummary();

  // Gives records that were made before the current payload scheme the payload identity of their file. Saves
  // once, or not at all where there is nothing to upgrade.
  void upgradePayloadIdentities(const std::vector<FingerprintedMediaFile>& files);

  // Writes down a move to the Trash that is about to happen, in a file beside the history. It stays there
  // until addTrash has the record of the same identity, or forgetTrashIntents is called.
  void beginTrashMove(const TrashIntent& intent);
  // For files that are where they were before their move. Throws PosixError where an intent stays.
  void forgetTrashIntents(const std::set<UUID>& ids);
  // The moves that an earlier process began and didn't record.
  std::vector<TrashIntent> unsettledTrashIntents();
  // Records what a look at the Trash showed, and forgets the intents that are settled by it. Saves at most
  // once.
  void settleTrash(const TrashSettlement& settlement);

  void addTrash(const std::vector<ManagedTrashRecord>& records);
  std::vector<ManagedTrashRecord> trashRecords();
  // Saves, even where no record has one of the identities.
  void removeTrash(const std::set<UUID>& ids);
  // Drops records and replaces others by their identity, keeping the order. `deleted` wins; a relocated
  // record that isn't known is ignored.
  void updateTrash(const std::set<UUID>& deleted, const std::vector<ManagedTrashRecord>& relocated);

 private:
  // Views into the shared records, so that a look-up by payload doesn't walk them all.
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
  std::set<UUID> ownTrashIntents_;  // those that this process began
};

}  // namespace tolvander
