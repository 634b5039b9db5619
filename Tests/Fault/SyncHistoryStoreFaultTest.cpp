#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::tests {

namespace {

ImportRecord recordOf(const std::string& source) {
  ImportRecord record;
  record.sourceFingerprint = source;
  record.mediaPayloadFingerprint = "jpeg-v2:" + source;
  record.filename = "PICT0001.JPG";
  record.relativePath = "DCIM/PICT0001.JPG";
  record.byteCount = 1;
  record.importedAt = dateFromISO8601("2026-11-15T19:13:17Z").value();
  return record;
}

// What a store knows, in the form in which it can be compared with the file.
HistoryDatabase knowledgeOf(SyncHistoryStore& store) {
  HistoryDatabase database;
  database.imports = store.records();
  database.trash = store.trashRecords();
  database.pendingImports = store.pendingImportSources();
  database.pendingProcessedFingerprints = store.pendingProcessedFingerprints();
  return database;
}

struct Change {
  std::string name;
  bool hasHistory;  // whether there is a file already when the change comes
  std::function<void(SyncHistoryStore&)> apply;
};

std::string nameOf(const testing::TestParamInfo<Change>& info) { return info.param.name; }

class HistoryStoreFaults : public testing::TestWithParam<Change> {
 protected:
  void setUp() {
    std::filesystem::remove_all((folder_ / "data").path());
    if (GetParam().hasHistory) {
      SyncHistoryStore earlier(file());
      earlier.record({recordOf("a"), recordOf("b")});
      earlier.beginImport({"p"});
      earlier.addTrash({ManagedTrashRecord{}});
    }
    store_ = std::make_unique<SyncHistoryStore>(file());
    before_ = knowledgeOf(*store_);
    std::filesystem::remove(expectedFile().path());
    after_ = knowledgeAfter();
  }

  void apply() const { GetParam().apply(*store_); }

  FileURL file() const { return folder_ / "data/Tolvander/history.json"; }
  FileURL expectedFile() const { return folder_ / "expected/history.json"; }

  const HistoryDatabase& before() const { return before_; }
  const HistoryDatabase& after() const { return after_; }

  // What a process finds that starts now.
  HistoryDatabase found() const {
    SyncHistoryStore restarted(file());
    return knowledgeOf(restarted);
  }
  HistoryDatabase remembered() const { return knowledgeOf(*store_); }
  void saveAgain() const { store_->record(std::vector<ImportRecord>()); }

  void expectNoAuxiliaryFile() const {
    const FileURL folder = file().deletingLastPathComponent();
    if (!std::filesystem::exists(folder.path())) {
      return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      EXPECT_EQ(entry.path().filename(), "history.json");
    }
  }

 private:
  // The same change on the same history, undisturbed.
  HistoryDatabase knowledgeAfter() const {
    if (GetParam().hasHistory) {
      writeFile(expectedFile(), readFile(file()));
    }
    SyncHistoryStore undisturbed(expectedFile());
    GetParam().apply(undisturbed);
    return knowledgeOf(undisturbed);
  }

  TemporaryFolder folder_;
  std::unique_ptr<SyncHistoryStore> store_;
  HistoryDatabase before_;
  HistoryDatabase after_;
};

// A change of one save makes this many calls at least: create, write, synchronise, rename, synchronise.
constexpr std::size_t fewestCallsOfASave = 5;

TEST_P(HistoryStoreFaults, leaveFileAndMemoryAsTheyWereWhereACallFails) {
  for (const Fault& fault : {Fault::failing(EIO), Fault::failing(ENOSPC)}) {
    const std::size_t points = forEachFaultPoint(
        fault, [this] { setUp(); }, [this] { apply(); },
        [this](const FaultOutcome& outcome) {
          const HistoryDatabase& expected = outcome.threw ? before() : after();
          EXPECT_TRUE(remembered() == expected) << outcome.point << " " << outcome.call;
          EXPECT_TRUE(found() == expected) << outcome.point << " " << outcome.call;
          expectNoAuxiliaryFile();
        });
    EXPECT_GE(points, fewestCallsOfASave);
  }
}

// A disk that fails for good in the moment when the new name is made durable can't be given the old name
// back, so the file may be the new one; it is whole, memory is what it was, and the next save brings the two
// together.
TEST_P(HistoryStoreFaults, leaveMemoryAsItWasAndAWholeFileWhereEveryCallFailsFromThenOn) {
  for (const Fault& fault : {Fault::failingFromThenOn(EIO), Fault::failingFromThenOn(ENOSPC)}) {
    forEachFaultPoint(
        fault, [this] { setUp(); }, [this] { apply(); },
        [this](const FaultOutcome& outcome) {
          EXPECT_TRUE(remembered() == (outcome.threw ? before() : after()))
              << outcome.point << " " << outcome.call;
          EXPECT_TRUE(found() == before() || found() == after()) << outcome.point << " " << outcome.call;
          expectNoAuxiliaryFile();
          saveAgain();
          EXPECT_TRUE(found() == remembered()) << outcome.point << " " << outcome.call;
        });
  }
}

// What a save has to have done before it changes memory: the new bytes on the device, and then the new name.
TEST_P(HistoryStoreFaults, makeTheFileDurableAndThenItsName) {
  setUp();
  const std::vector<std::string> calls = mutatingCalls([this] { apply(); });
  const auto first =
      std::ranges::find_if(calls, [](const std::string& call) { return call.starts_with("rename"); });
  ASSERT_NE(first, calls.end());
  const auto lastWrite = std::find(calls.begin(), first, "write");
  EXPECT_NE(std::find(lastWrite, first, "fsync"), first) << "the bytes before the name";
  EXPECT_NE(std::find(first, calls.end(), "fsync"), calls.end()) << "the name";
}

TEST_P(HistoryStoreFaults, takeShortWritesForWhatTheyAre) {
  forEachFaultPoint(
      Fault::shortWrite(), [this] { setUp(); }, [this] { apply(); },
      [this](const FaultOutcome& outcome) {
        EXPECT_FALSE(outcome.threw) << outcome.message;
        EXPECT_TRUE(found() == after());
      });
}

TEST_P(HistoryStoreFaults, leaveAWholeFileWhereTheProcessDies) {
  const std::size_t points = forEachFaultPoint(
      Fault::kill(), [this] { setUp(); }, [this] { apply(); },
      [this](const FaultOutcome& outcome) {
        const HistoryDatabase now = found();
        EXPECT_TRUE(now == before() || now == after()) << outcome.point << " " << outcome.call;
        EXPECT_EQ(outcome.wasKilled, outcome.wasHit());
        expectNoAuxiliaryFile();
      });
  EXPECT_GE(points, fewestCallsOfASave);
}

INSTANTIATE_TEST_SUITE_P(
    , HistoryStoreFaults,
    testing::Values(
        Change{"record", true,
               [](SyncHistoryStore& store) {
                 store.record({recordOf("c"), recordOf("p")});
               }},
        Change{"firstRecord", false, [](SyncHistoryStore& store) { store.record(recordOf("c")); }},
        Change{"beginImport", true, [](SyncHistoryStore& store) { store.beginImport({"q"}); }},
        Change{"abandonFailedImport", true,
               [](SyncHistoryStore& store) { store.abandonFailedImport({"p"}); }},
        Change{"removeTrash", true, [](SyncHistoryStore& store) { store.removeTrash({UUID{}}); }}),
    nameOf);

}  // namespace

}  // namespace tolvander::tests
