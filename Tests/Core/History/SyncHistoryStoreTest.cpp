#include "TolvanderCore/SyncHistoryStore.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {
namespace {

namespace fs = std::filesystem;
using tests::OtherUser;
using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;

using Texts = std::set<std::string>;

ImportRecord recordOf(std::string source, std::optional<std::string> payload = {},
                      std::optional<ImportEvidence> evidence = {}) {
  ImportRecord record;
  record.sourceFingerprint = std::move(source);
  record.mediaPayloadFingerprint = std::move(payload);
  record.filename = "PICT0001.JPG";
  record.relativePath = "DCIM/PICT0001.JPG";
  record.byteCount = 1;
  record.importedAt = dateFromISO8601("2026-11-15T19:13:17Z").value();
  record.evidence = evidence;
  return record;
}

ImportRecord metadataRecordOf(const std::string& source) {
  return recordOf(source, {}, ImportEvidence::metadataOnly);
}

CameraMediaFile cameraFile() {
  return {.url = FileURL("/v/a.jpg"),
          .volumeURL = FileURL("/v"),
          .relativePath = "a.jpg",
          .filename = "a.jpg",
          .byteCount = 1,
          .modifiedAt = {}};
}

PreparedMediaFile preparedFile(std::string source, std::string processed) {
  return {.sourceFile = cameraFile(),
          .importURL = FileURL("/staged/a.jpg"),
          .sourceFingerprint = std::move(source),
          .mediaPayloadFingerprint = {},
          .processedFingerprint = std::move(processed),
          .processingVersion = 1,
          .isStagedCopy = true,
          .captureDate = {}};
}

FingerprintedMediaFile fingerprintedFile(std::string source, std::optional<std::string> payload) {
  return {.file = cameraFile(),
          .sourceFingerprint = std::move(source),
          .mediaPayloadFingerprint = std::move(payload),
          .captureDate = {},
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

ManagedTrashRecord trashOf(std::uint8_t number, std::string path = "/t") {
  ManagedTrashRecord record;
  record.id.bytes[15] = number;
  record.trashedPath = std::move(path);
  record.trashedAt = dateFromISO8601("2026-11-15T19:13:17Z").value();
  return record;
}

class HistoryStore : public testing::Test {
 protected:
  HistoryDatabase onDisk() const { return readHistory(file); }

  // What a process that starts now finds.
  SyncHistoryStore restarted() const { return SyncHistoryStore(file); }

  std::vector<std::string> folderEntries() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(file.deletingLastPathComponent().path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  // Makes every later save fail without touching the file.
  void makeUnwritable() const { fs::permissions(file.deletingLastPathComponent().path(), fs::perms::none); }

  TemporaryFolder folder;
  const FileURL file = folder / "Application Support/Tolvander/history.json";
};

TEST_F(HistoryStore, changesNothingWithoutTheRight) {
  bool hasRight = true;
  SyncHistoryStore store(file, [&] {
    if (!hasRight) {
      throw PosixError(EBUSY, "lock", file);
    }
  });
  store.beginImport({"a"});
  hasRight = false;
  EXPECT_THROW(store.beginImport({"b"}), PosixError);
  EXPECT_EQ(store.pendingImportSources(), Texts{"a"});
  EXPECT_EQ(onDisk().pendingImports, Texts{"a"});
}

// Identity

TEST_F(HistoryStore, hasAnIdentityOfItsOwnThatItKeeps) {
  SyncHistoryStore store(file);
  const UUID identity = store.identity();
  EXPECT_EQ(store.identity(), identity);
  EXPECT_EQ(restarted().identity(), identity);
  EXPECT_EQ(readFile(file.deletingLastPathComponent().appending("history.id")), identity.text() + "\n");
  EXPECT_NE(SyncHistoryStore(folder / "other/history.json").identity(), identity);
}

TEST_F(HistoryStore, hasANewIdentityWhereItsFileSaysSomethingElse) {
  const FileURL identityFile = file.deletingLastPathComponent().appending("history.id");
  for (const std::string& text : {std::string(), std::string("\n"), std::string(37, 'x')}) {
    writeFile(identityFile, text);
    const UUID identity = SyncHistoryStore(file).identity();
    EXPECT_EQ(readFile(identityFile), identity.text() + "\n");
  }
}

TEST_F(HistoryStore, hasNoIdentityWhereItCannotBeRead) {
  writeFile(file, "{");
  EXPECT_THROW(SyncHistoryStore(file).identity(), SyncHistoryError);
  EXPECT_FALSE(fs::exists(file.deletingLastPathComponent().appending("history.id").path()));
  fs::remove(file.path());
  fs::create_directory(file.deletingLastPathComponent().appending("history.id").path());
  EXPECT_THROW(SyncHistoryStore(file).identity(), PosixError) << "and not another identity";
}

TEST_F(HistoryStore, knowsTheBytesThatTheLibraryWasGiven) {
  SyncHistoryStore store(file);
  ImportRecord record = recordOf("a");
  record.processedFingerprint = "processed";
  store.record(record);
  EXPECT_TRUE(store.containsProcessedFingerprint("processed"));
  EXPECT_FALSE(store.containsProcessedFingerprint("a"));
}

// Loading

TEST_F(HistoryStore, startsEmptyWithoutAFileAndWritesNothing) {
  SyncHistoryStore store(file);
  store.ensureAvailable();
  EXPECT_TRUE(store.records().empty());
  EXPECT_FALSE(fs::exists(file.path()));
  EXPECT_FALSE(fs::exists(file.deletingLastPathComponent().path()));
}

TEST_F(HistoryStore, createsItsFoldersWithTheFirstSave) {
  SyncHistoryStore store(file);
  store.record(std::vector<ImportRecord>());
  EXPECT_EQ(onDisk(), HistoryDatabase());
  EXPECT_EQ(folderEntries(), (std::vector<std::string>{"history.json"}));
}

TEST_F(HistoryStore, loadsAFileWithoutAVersion) {
  writeFile(file, R"({"pendingImports":["a"]})");
  EXPECT_EQ(restarted().pendingImportSources(), Texts{"a"});
}

TEST_F(HistoryStore, refusesEveryOperationOnAnUnreadableFileAndLeavesItAsItIs) {
  for (const std::string content : {R"({"version":6})", R"({"version":0})", "", "{", "not JSON",
                                    R"({"imports":{"a":{}}})", R"({"a":"\ud800"})"}) {
    writeFile(file, content);
    SyncHistoryStore store(file);
    const std::vector<std::function<void()>> operations = {
        [&] { store.ensureAvailable(); },
        [&] { store.containsFingerprint("a"); },
        [&] { store.containsSourceFingerprint("a"); },
        [&] { store.containsMediaPayloadFingerprint("a"); },
        [&] { store.contains("a", "b"); },
        [&] { store.record(recordOf("a")); },
        [&] { store.record(std::vector<ImportRecord>()); },
        [&] { store.beginImport({"a"}); },
        [&] { store.beginPreparedImport({preparedFile("a", "b")}); },
        [&] { store.pendingProcessedFingerprints(); },
        [&] { store.abandonFailedImport({"a"}); },
        [&] { store.pendingImportSources(); },
        [&] { store.records(); },
        [&] { store.historySummary(); },
        [&] { store.upgradePayloadIdentities({}); },
        [&] { store.addTrash({trashOf(1)}); },
        [&] { store.trashRecords(); },
        [&] { store.removeTrash({}); },
        [&] { store.updateTrash({}, {}); },
    };
    for (const auto& operation : operations) {
      try {
        operation();
        ADD_FAILURE() << "an operation went on without a history: " << content;
      } catch (const SyncHistoryError& error) {
        EXPECT_EQ(error.kind(), SyncHistoryError::Case::unreadableHistory);
      }
    }
    EXPECT_EQ(readFile(file), content);
    EXPECT_EQ(folderEntries(), (std::vector<std::string>{"history.json"}));
  }
}

TEST_F(HistoryStore, staysUnreadableUntilTheNextStart) {
  writeFile(file, "broken");
  SyncHistoryStore store(file);
  writeFile(file, "{}");
  EXPECT_THROW(store.ensureAvailable(), SyncHistoryError);
  EXPECT_NO_THROW(restarted().ensureAvailable());
}

TEST_F(HistoryStore, takesAFileItMayNotReadForUnreadableAndNotForMissing) {
  writeFile(file, "{}");
  fs::permissions(folder.url().path(), fs::perms::all);
  fs::permissions(file.path(), fs::perms::none);
  const OtherUser nobody;
  EXPECT_THROW(restarted().ensureAvailable(), SyncHistoryError);
}

TEST_F(HistoryStore, takesAFolderInItsPlaceForUnreadable) {
  fs::create_directories(file.path());
  EXPECT_THROW(restarted().ensureAvailable(), SyncHistoryError);
}

TEST_F(HistoryStore, takesAFileWhereItsFolderShouldBeForUnreadable) {
  writeFile(file.deletingLastPathComponent(), "a file");
  EXPECT_THROW(restarted().ensureAvailable(), SyncHistoryError);
}

TEST_F(HistoryStore, takesABrokenLinkForAHistoryElsewhereAndNotForAFirstRun) {
  fs::create_directories(file.deletingLastPathComponent().path());
  fs::create_symlink(folder.url().path() + "/unmounted/history.json", file.path());
  EXPECT_THROW(restarted().ensureAvailable(), SyncHistoryError);

  fs::remove_all((folder / "Application Support").path());
  fs::create_directories((folder / "Application Support").path());
  fs::create_symlink(folder.url().path() + "/unmounted", file.deletingLastPathComponent().path());
  EXPECT_THROW(restarted().ensureAvailable(), SyncHistoryError);
}

TEST_F(HistoryStore, takesAFolderBehindALinkThatHoldsNoHistoryForAFirstRun) {
  fs::create_directories((folder / "elsewhere").path());
  fs::create_directories((folder / "Application Support").path());
  fs::create_symlink((folder / "elsewhere").path(), file.deletingLastPathComponent().path());
  SyncHistoryStore store(file);
  EXPECT_NO_THROW(store.ensureAvailable());
  store.record(recordOf("a"));
  EXPECT_TRUE(readHistory(folder / "elsewhere/history.json").imports.contains("a"));
}

TEST_F(HistoryStore, writesThroughALinkAndKeepsIt) {
  writeFile(folder / "elsewhere/real.json", "{}");
  fs::create_directories(file.deletingLastPathComponent().path());
  fs::create_symlink((folder / "elsewhere/real.json").path(), file.path());
  restarted().record(recordOf("a"));
  EXPECT_TRUE(fs::is_symlink(file.path()));
  EXPECT_TRUE(readHistory(folder / "elsewhere/real.json").imports.contains("a"));
}

TEST_F(HistoryStore, loadsALegacyRecordAndWritesItInTheNewForm) {
  writeFile(file,
            R"({"version":1,"imports":{"x":{"fingerprint":"a","filename":"f","relativePath":"r","byteCount":1,
                      "importedAt":"2026-11-15T19:13:17Z","wasReconciled":false}}})");
  SyncHistoryStore store(file);
  EXPECT_TRUE(store.containsFingerprint("a"));
  EXPECT_FALSE(store.containsFingerprint("x"));
  store.record(std::vector<ImportRecord>());
  const std::string text = readFile(file);
  EXPECT_NE(text.find(R"("sourceFingerprint" : "a")"), std::string::npos);
  EXPECT_EQ(text.find(R"("fingerprint")"), std::string::npos);
  EXPECT_NE(text.find(R"("version" : 5)"), std::string::npos);
}

TEST_F(HistoryStore, repairsInMemoryAndNotOnDiskUntilTheNextSave) {
  const std::string content = R"({"pendingProcessedFingerprints":{"gone":"1"}})";
  writeFile(file, content);
  SyncHistoryStore store(file);
  EXPECT_TRUE(store.pendingProcessedFingerprints().empty());
  EXPECT_EQ(readFile(file), content);
  store.record(std::vector<ImportRecord>());
  EXPECT_EQ(onDisk(), HistoryDatabase());
}

// Looking up

TEST_F(HistoryStore, knowsSourcesAndPayloads) {
  SyncHistoryStore store(file);
  store.record(recordOf("a", "jpeg-v2:1"));
  EXPECT_TRUE(store.containsFingerprint("a"));
  EXPECT_TRUE(store.containsSourceFingerprint("a"));
  EXPECT_FALSE(store.containsSourceFingerprint("jpeg-v2:1"));
  EXPECT_TRUE(store.containsMediaPayloadFingerprint("jpeg-v2:1"));
  EXPECT_FALSE(store.containsMediaPayloadFingerprint("a"));
  EXPECT_TRUE(store.contains("a", std::nullopt));
  EXPECT_TRUE(store.contains("a", "jpeg-v2:2"));
  EXPECT_TRUE(store.contains("b", "jpeg-v2:1"));
  EXPECT_FALSE(store.contains("b", "jpeg-v2:2"));
  EXPECT_FALSE(store.contains("b", std::nullopt));
  EXPECT_TRUE(restarted().containsMediaPayloadFingerprint("jpeg-v2:1"));
}

TEST_F(HistoryStore, forgetsThePayloadOfAReplacedRecord) {
  SyncHistoryStore store(file);
  store.record(recordOf("a", "jpeg-v2:1"));
  store.record(recordOf("a", "jpeg-v2:2"));
  EXPECT_FALSE(store.containsMediaPayloadFingerprint("jpeg-v2:1"));
  EXPECT_TRUE(store.containsMediaPayloadFingerprint("jpeg-v2:2"));
}

TEST_F(HistoryStore, givesRecordsThatLaterChangesDoNotTouch) {
  SyncHistoryStore store(file);
  store.record(recordOf("a"));
  const ImportRecords before = store.records();
  store.record(recordOf("b"));
  EXPECT_EQ(before.size(), 1U);
  EXPECT_EQ(store.records().size(), 2U);
  EXPECT_EQ(store.historySummary().uniquePhotoCount, 2);
}

// Recording

TEST_F(HistoryStore, savesAnEmptyListToo) {
  SyncHistoryStore store(file);
  store.record(recordOf("a"));
  const std::string before = readFile(file);
  fs::remove(file.path());
  store.record(std::vector<ImportRecord>());
  EXPECT_EQ(readFile(file), before);
}

TEST_F(HistoryStore, aRecordOnContentResolvesItsMarkAndNoOther) {
  for (const auto& evidence :
       {std::optional<ImportEvidence>(), std::optional(ImportEvidence::contentConfirmed)}) {
    SyncHistoryStore store(file);
    store.beginPreparedImport({preparedFile("a", "pa"), preparedFile("b", "pb")});
    store.record(recordOf("a", {}, evidence));
    EXPECT_EQ(store.pendingImportSources(), Texts{"b"});
    EXPECT_EQ(store.pendingProcessedFingerprints(), (std::map<std::string, std::string>{{"b", "pb"}}));
  }
}

TEST_F(HistoryStore, aRecordOnMetadataLeavesTheMark) {
  SyncHistoryStore store(file);
  store.beginPreparedImport({preparedFile("a", "pa")});
  store.record(metadataRecordOf("a"));
  EXPECT_TRUE(store.containsSourceFingerprint("a"));
  EXPECT_EQ(store.pendingImportSources(), Texts{"a"});
  EXPECT_EQ(restarted().pendingProcessedFingerprints(), (std::map<std::string, std::string>{{"a", "pa"}}));
}

TEST_F(HistoryStore, aRecordOnMetadataNeverReplacesOneOnContent) {
  for (const auto& evidence :
       {std::optional<ImportEvidence>(), std::optional(ImportEvidence::contentConfirmed)}) {
    SyncHistoryStore store(file);
    store.record(recordOf("a", "jpeg-v2:1", evidence));
    store.beginImport({"a"});
    store.record(metadataRecordOf("a"));
    EXPECT_EQ(*store.records().find("a"), recordOf("a", "jpeg-v2:1", evidence));
    EXPECT_EQ(store.pendingImportSources(), Texts{"a"});
  }
}

TEST_F(HistoryStore, aRecordOnMetadataReplacesItsLikeAndIsReplacedByContent) {
  SyncHistoryStore store(file);
  store.record(metadataRecordOf("a"));
  ImportRecord newer = metadataRecordOf("a");
  newer.filename = "newer.jpg";
  store.record(newer);
  EXPECT_EQ(store.records().find("a")->filename, "newer.jpg");
  store.record(recordOf("a"));
  EXPECT_TRUE(store.records().find("a")->isContentConfirmed());
}

TEST_F(HistoryStore, mergesAListInItsOrder) {
  SyncHistoryStore store(file);
  store.record({metadataRecordOf("a"), recordOf("a", "jpeg-v2:1"), metadataRecordOf("a")});
  EXPECT_EQ(store.records().find("a")->mediaPayloadFingerprint, "jpeg-v2:1");
}

TEST_F(HistoryStore, neverKeepsContentIdentitiesOfARecordOnMetadata) {
  ImportRecord record = recordOf("a", "jpeg-v2:1", ImportEvidence::metadataOnly);
  record.processedFingerprint = "p";
  record.processingVersion = 1;
  SyncHistoryStore store(file);
  store.record(record);
  EXPECT_EQ(*store.records().find("a"), metadataRecordOf("a"));
  EXPECT_FALSE(store.containsMediaPayloadFingerprint("jpeg-v2:1"));
  EXPECT_EQ(ImportRecord::make(record), metadataRecordOf("a"));
}

TEST_F(HistoryStore, keepsWholeSecondsOverARestart) {
  ImportRecord record = recordOf("a");
  const Date wholeSecond = record.importedAt;
  record.importedAt += std::chrono::milliseconds(999);
  SyncHistoryStore store(file);
  store.record(record);
  EXPECT_EQ(restarted().records().find("a")->importedAt, wholeSecond);
}

// Marks

TEST_F(HistoryStore, marksOutliveTheProcess) {
  SyncHistoryStore store(file);
  store.beginImport({"b", "a", "b"});
  store.beginPreparedImport({preparedFile("c", "pc"), preparedFile("c", "pc2")});
  EXPECT_EQ(restarted().pendingImportSources(), (Texts{"a", "b", "c"}));
  EXPECT_EQ(restarted().pendingProcessedFingerprints(), (std::map<std::string, std::string>{{"c", "pc2"}}));
}

// What a file had become is how its interrupted import is found again.
TEST_F(HistoryStore, keepsWhatAMarkedFileHadBecomeWhenItIsMarkedAgain) {
  SyncHistoryStore store(file);
  store.beginPreparedImport({preparedFile("a", "pa"), preparedFile("b", "pb")});
  store.beginImport({"a", "c"});
  const std::map<std::string, std::string> expected{{"a", "pa"}, {"b", "pb"}};
  EXPECT_EQ(store.pendingProcessedFingerprints(), expected);
  EXPECT_EQ(restarted().pendingProcessedFingerprints(), expected);
}

TEST_F(HistoryStore, abandonsOnlyWhatItIsTold) {
  SyncHistoryStore store(file);
  store.beginPreparedImport({preparedFile("a", "pa"), preparedFile("b", "pb")});
  store.abandonFailedImport({"a", "unknown"});
  EXPECT_EQ(store.pendingImportSources(), Texts{"b"});
  EXPECT_EQ(store.pendingProcessedFingerprints(), (std::map<std::string, std::string>{{"b", "pb"}}));
  EXPECT_EQ(readFile(file).find("pa"), std::string::npos);
  EXPECT_EQ(restarted().pendingImportSources(), Texts{"b"});
  EXPECT_EQ(restarted().pendingProcessedFingerprints(), (std::map<std::string, std::string>{{"b", "pb"}}));
}

// Upgrading payload identities

TEST_F(HistoryStore, upgradesAbsentAndOlderPayloadIdentitiesAndClearsTheirMarks) {
  SyncHistoryStore store(file);
  store.record({recordOf("absent"), recordOf("older", "jpeg:1"), recordOf("other")});
  store.beginImport({"absent", "other"});
  store.upgradePayloadIdentities({fingerprintedFile("absent", "jpeg-v2:1"),
                                  fingerprintedFile("older", "jpeg-v2:2"),
                                  fingerprintedFile("unknown", "jpeg-v2:3")});
  EXPECT_EQ(*store.records().find("absent"), recordOf("absent", "jpeg-v2:1"));
  EXPECT_EQ(*store.records().find("older"), recordOf("older", "jpeg-v2:2"));
  EXPECT_FALSE(store.containsSourceFingerprint("unknown"));
  EXPECT_EQ(store.pendingImportSources(), Texts{"other"});
  EXPECT_TRUE(restarted().containsMediaPayloadFingerprint("jpeg-v2:1"));
}

TEST_F(HistoryStore, doesNotSaveWhereNothingIsToBeUpgraded) {
  SyncHistoryStore store(file);
  store.record({recordOf("same", "jpeg-v2:1"), metadataRecordOf("metadata"), recordOf("plain")});
  fs::remove(file.path());
  store.upgradePayloadIdentities({});
  store.upgradePayloadIdentities(
      {fingerprintedFile("same", "jpeg-v2:1"), fingerprintedFile("metadata", "jpeg-v2:2"),
       fingerprintedFile("plain", "jpeg:3"), fingerprintedFile("plain", std::nullopt)});
  EXPECT_FALSE(fs::exists(file.path()));
}

// Trash

std::vector<std::string> trashedPaths(SyncHistoryStore& store) {
  std::vector<std::string> paths;
  for (const ManagedTrashRecord& record : store.trashRecords()) {
    paths.push_back(record.trashedPath);
  }
  return paths;
}

TEST_F(HistoryStore, keepsTrashInTheOrderInWhichItCame) {
  SyncHistoryStore store(file);
  store.addTrash({trashOf(3, "3"), trashOf(1, "1")});
  store.addTrash({trashOf(2, "2")});
  EXPECT_EQ(trashedPaths(store), (std::vector<std::string>{"3", "1", "2"}));
  store.removeTrash({trashOf(1).id});
  SyncHistoryStore next(file);
  EXPECT_EQ(trashedPaths(next), (std::vector<std::string>{"3", "2"}));
}

TEST_F(HistoryStore, rewritesTheSameContentWhenAnUnknownTrashRecordIsRemoved) {
  SyncHistoryStore store(file);
  store.addTrash({trashOf(1)});
  const std::string before = readFile(file);
  fs::remove(file.path());
  store.removeTrash({trashOf(9).id});
  EXPECT_EQ(readFile(file), before);
}

TEST_F(HistoryStore, updatesTrashInPlace) {
  SyncHistoryStore store(file);
  store.addTrash({trashOf(1, "1"), trashOf(2, "2"), trashOf(3, "3"), trashOf(4, "4")});
  store.updateTrash({trashOf(2).id, trashOf(3).id},
                    {trashOf(1, "first").relocatedTo("moved"), trashOf(1, "again"),
                     trashOf(3, "deleted wins"), trashOf(9, "unknown")});
  EXPECT_EQ(trashedPaths(store), (std::vector<std::string>{"again", "4"}));
}

TEST(ManagedTrashRecord, relocationChangesThePathAlone) {
  ManagedTrashRecord expected = trashOf(1, "old");
  expected.trashedPath = "new";
  EXPECT_EQ(trashOf(1, "old").relocatedTo("new"), expected);
}

// Failing saves

TEST_F(HistoryStore, answersAsBeforeAfterAFailedWrite) {
  fs::permissions(folder.url().path(), fs::perms::all);
  SyncHistoryStore store(file);
  store.record(recordOf("a", "jpeg-v2:1"));
  store.addTrash({trashOf(1)});
  const std::string before = readFile(file);
  makeUnwritable();
  {
    const OtherUser nobody;
    EXPECT_THROW(store.record(recordOf("b", "jpeg-v2:2")), PosixError);
    EXPECT_THROW(store.beginImport({"c"}), PosixError);
    EXPECT_THROW(store.beginPreparedImport({preparedFile("c", "p")}), PosixError);
    EXPECT_THROW(store.abandonFailedImport({"c"}), PosixError);
    EXPECT_THROW(store.addTrash({trashOf(2)}), PosixError);
    EXPECT_THROW(store.removeTrash({trashOf(1).id}), PosixError);
    EXPECT_THROW(store.upgradePayloadIdentities({fingerprintedFile("a", "jpeg-v2:9")}), PosixError);
  }
  fs::permissions(file.deletingLastPathComponent().path(), fs::perms::all);
  EXPECT_TRUE(store.containsSourceFingerprint("a"));
  EXPECT_TRUE(store.containsMediaPayloadFingerprint("jpeg-v2:1"));
  EXPECT_FALSE(store.containsSourceFingerprint("b"));
  EXPECT_FALSE(store.containsMediaPayloadFingerprint("jpeg-v2:2"));
  EXPECT_TRUE(store.pendingImportSources().empty());
  EXPECT_EQ(store.trashRecords().size(), 1U);
  EXPECT_EQ(readFile(file), before);
  store.record(recordOf("b"));
  EXPECT_TRUE(restarted().containsSourceFingerprint("b")) << "the store goes on once it can write again";
}

TEST_F(HistoryStore, failsWhereAFileStandsInTheWayOfItsFolder) {
  SyncHistoryStore store(file);
  writeFile(folder / "Application Support", "a file");
  EXPECT_THROW(store.record(recordOf("a")), PosixError);
  EXPECT_TRUE(store.records().empty());
}

// Threads

TEST_F(HistoryStore, losesNothingThatManyThreadsDoAtOnce) {
  constexpr int threads = 4;
  constexpr int rounds = 10;
  SyncHistoryStore store(file);
  std::vector<std::thread> workers;
  for (int worker = 0; worker < threads; ++worker) {
    workers.emplace_back([&store, worker] {
      for (int round = 0; round < rounds; ++round) {
        const std::string source = std::to_string(worker) + "-" + std::to_string(round);
        store.beginPreparedImport({preparedFile(source, "p"), preparedFile("pending-" + source, "p")});
        store.record(recordOf(source, "jpeg-v2:" + source));
        EXPECT_TRUE(store.contains("unknown", "jpeg-v2:" + source));
      }
    });
  }
  for (std::thread& worker : workers) {
    worker.join();
  }
  SyncHistoryStore next(file);
  EXPECT_EQ(store.records().size(), static_cast<std::size_t>(threads * rounds));
  EXPECT_EQ(next.records(), store.records());
  EXPECT_EQ(next.pendingImportSources().size(), static_cast<std::size_t>(threads * rounds));
}

TEST_F(HistoryStore, refusesAPipeInsteadOfWaitingForIt) {
  fs::create_directories(file.deletingLastPathComponent().path());
  ASSERT_EQ(mkfifo(file.path().c_str(), 0600), 0);
  EXPECT_THROW(restarted().ensureAvailable(), SyncHistoryError);
}

TEST_F(HistoryStore, liesInTheUsersApplicationDataByDefault) {
  ASSERT_EQ(setenv("XDG_DATA_HOME", (folder / "data").path().c_str(), 1), 0);
  const FileURL expected = folder / "data/Tolvander/history.json";
  EXPECT_EQ(SyncHistoryStore::historyFile(StandardDirectories::current()), expected);
  EXPECT_EQ(SyncHistoryStore().fileURL(), expected);
  unsetenv("XDG_DATA_HOME");
}

TEST(HistoryStoreDeathTest, endsTheProgramWithoutAFolderForApplicationData) {
  const StandardDirectories directories{.applicationSupport = std::nullopt, .temporary = FileURL("/tmp")};
  EXPECT_DEATH(SyncHistoryStore::historyFile(directories), "the user has a folder for application data");
}

TEST(SyncHistoryError, hasItsWordsForTheUser) {
  EXPECT_EQ(SyncHistoryError(SyncHistoryError::Case::unreadableHistory).description(),
            "Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. "
            "Contact support@tolvander.example for help.");
  EXPECT_EQ(SyncHistoryError(SyncHistoryError::Case::unresolvedImport).description(),
            "A previous import was interrupted. Check Photos to recover its result; unresolved items stay "
            "paused to "
            "prevent duplicates.");
}

}  // namespace
}  // namespace tolvander
