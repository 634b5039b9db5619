#include "TolvanderCore/TrashIntentJournal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander {
namespace {

namespace fs = std::filesystem;
using tests::OtherUser;
using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;

TrashIntent intentOf(unsigned number) {
  TrashIntent intent{.id = {},
                     .deviceIdentifier = "device",
                     .volumeName = "CARD",
                     .originalFilename = "PICT" + std::to_string(number) + ".JPG",
                     .originalPath = "/card/PICT" + std::to_string(number) + ".JPG",
                     .trashDirectoryPath = "/card/.Trash-1000/files",
                     .volumeIdentifier = "5B2E-9C01",
                     .fingerprint = "fingerprint",
                     .photosAssetIdentifier = "asset",
                     .intendedAt = dateFromISO8601("2026-11-22T06:00:00Z").value()};
  intent.id.bytes[15] = static_cast<std::uint8_t>(number);
  return intent;
}

ManagedTrashRecord recordOf(const TrashIntent& intent) {
  return intent.recordOf("/card/.Trash-1000/files/" + intent.originalFilename, {}, intent.intendedAt);
}

class TrashIntents : public testing::Test {
 protected:
  TrashIntentJournal restarted() const { return TrashIntentJournal(file); }
  SyncHistoryStore restartedStore() const { return SyncHistoryStore(historyFile); }

  TemporaryFolder folder;
  const FileURL historyFile = folder / "data/Tolvander/history.json";
  const FileURL file = folder / "data/Tolvander/trash-intents.jsonl";
};

using Intents = std::vector<TrashIntent>;

}  // namespace

TEST_F(TrashIntents, outliveTheProcessInTheirOrder) {
  TrashIntentJournal journal(file);
  EXPECT_TRUE(journal.intents().empty());
  EXPECT_FALSE(fs::exists(file.path()));
  for (const unsigned number : {3U, 1U, 2U}) {
    journal.add(intentOf(number));
  }
  EXPECT_EQ(journal.intents(), (Intents{intentOf(3), intentOf(1), intentOf(2)}));
  EXPECT_EQ(restarted().intents(), journal.intents());
}

TEST_F(TrashIntents, leaveNoFileWhenNoneIsLeft) {
  TrashIntentJournal journal(file);
  journal.add(intentOf(1));
  journal.add(intentOf(2));
  journal.remove({intentOf(1).id, intentOf(9).id});
  EXPECT_EQ(restarted().intents(), Intents{intentOf(2)});
  journal.add(intentOf(3));
  EXPECT_EQ(restarted().intents(), (Intents{intentOf(2), intentOf(3)}));
  journal.remove({intentOf(2).id, intentOf(3).id});
  EXPECT_FALSE(fs::exists(file.path()));
  journal.add(intentOf(4));
  EXPECT_EQ(restarted().intents(), Intents{intentOf(4)});
}

TEST_F(TrashIntents, thatWereCutShortNeverWere) {
  TrashIntentJournal journal(file);
  journal.add(intentOf(1));
  const std::string first = readFile(file);
  journal.add(intentOf(2));
  const std::string both = readFile(file);
  for (std::size_t size = first.size(); size < both.size(); ++size) {
    writeFile(file, both.substr(0, size));
    TrashIntentJournal cut(file);
    EXPECT_EQ(cut.intents(), Intents{intentOf(1)}) << size;
    cut.add(intentOf(3));
    EXPECT_EQ(restarted().intents(), (Intents{intentOf(1), intentOf(3)})) << size;
  }
}

TEST_F(TrashIntents, thatCanNotBeUnderstoodArePassedOver) {
  TrashIntentJournal journal(file);
  journal.add(intentOf(1));
  const std::string line = readFile(file);
  writeFile(file, "not JSON\n[]\n{\"id\":1}\n\n" + line + std::string("\0\n", 2));
  EXPECT_EQ(restarted().intents(), Intents{intentOf(1)});
}

TEST_F(TrashIntents, inAFileThatCanNotBeReadAreNeitherLostNorAddedTo) {
  fs::create_directories(file.appending("a folder in its place").path());
  TrashIntentJournal journal(file);
  EXPECT_THROW(journal.add(intentOf(1)), PosixError);
  EXPECT_TRUE(journal.intents().empty());
}

TEST_F(TrashIntents, inAFileThatMayOnlyBeWrittenAreNotWrittenOver) {
  TrashIntentJournal(file).add(intentOf(1));
  const std::string before = readFile(file);
  for (FileURL url = file; url != folder.url(); url = url.deletingLastPathComponent()) {
    fs::permissions(url.path(), fs::perms::all);
  }
  fs::permissions(folder.url().path(), fs::perms::all);
  fs::permissions(file.path(), fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write);
  {
    const OtherUser user;
    TrashIntentJournal journal(file);
    EXPECT_THROW(journal.add(intentOf(2)), PosixError);
  }
  fs::permissions(file.path(), fs::perms::all);
  EXPECT_EQ(readFile(file), before);
}

TEST_F(TrashIntents, areNotWrittenThroughALink) {
  fs::create_directories(file.deletingLastPathComponent().path());
  fs::create_symlink((folder / "elsewhere").path(), file.path());
  TrashIntentJournal journal(file);
  EXPECT_THROW(journal.add(intentOf(1)), PosixError);
  EXPECT_FALSE(fs::exists((folder / "elsewhere").path()));
}

// Beside the history

TEST_F(TrashIntents, areUnsettledForTheNextProcessAlone) {
  SyncHistoryStore store(historyFile);
  store.beginTrashMove(intentOf(1));
  EXPECT_TRUE(store.unsettledTrashIntents().empty()) << "the move may go on";
  EXPECT_EQ(restartedStore().unsettledTrashIntents(), Intents{intentOf(1)});
  store.forgetTrashIntents({intentOf(1).id});
  EXPECT_TRUE(restartedStore().unsettledTrashIntents().empty());
}

TEST_F(TrashIntents, goWithTheRecordOfTheirMove) {
  SyncHistoryStore store(historyFile);
  store.beginTrashMove(intentOf(1));
  store.beginTrashMove(intentOf(2));
  store.addTrash({recordOf(intentOf(1))});
  EXPECT_EQ(restarted().intents(), Intents{intentOf(2)});
}

TEST_F(TrashIntents, thatAreRecordedAreSettledAndGoBeforeTheirRecordDoes) {
  SyncHistoryStore store(historyFile);
  store.addTrash({recordOf(intentOf(1))});
  TrashIntentJournal(file).add(intentOf(1));  // as though the process had died between the two
  SyncHistoryStore next(historyFile);
  EXPECT_TRUE(next.unsettledTrashIntents().empty());
  next.removeTrash({intentOf(1).id});
  EXPECT_TRUE(restartedStore().unsettledTrashIntents().empty());
}

TEST_F(TrashIntents, areSettledTogetherWithTheRecords) {
  SyncHistoryStore store(historyFile);
  store.addTrash({recordOf(intentOf(1)), recordOf(intentOf(2)), recordOf(intentOf(3))});
  for (const unsigned number : {4U, 5U, 6U}) {
    store.beginTrashMove(intentOf(number));
  }
  SyncHistoryStore next(historyFile);
  next.settleTrash({.found = {recordOf(intentOf(4))},
                    .relocated = {recordOf(intentOf(2)).relocatedTo("/elsewhere")},
                    .emptied = {intentOf(1).id},
                    .settledIntents = {intentOf(4).id, intentOf(5).id}});
  SyncHistoryStore last(historyFile);
  EXPECT_EQ(last.trashRecords(), (std::vector{recordOf(intentOf(2)).relocatedTo("/elsewhere"),
                                              recordOf(intentOf(3)), recordOf(intentOf(4))}));
  EXPECT_EQ(last.unsettledTrashIntents(), Intents{intentOf(6)});
}

TEST_F(TrashIntents, areRefusedBesideAHistoryThatCanNotBeRead) {
  writeFile(historyFile, "{");
  SyncHistoryStore store(historyFile);
  EXPECT_THROW(store.beginTrashMove(intentOf(1)), SyncHistoryError);
  EXPECT_THROW(store.forgetTrashIntents({}), SyncHistoryError);
  EXPECT_THROW(store.unsettledTrashIntents(), SyncHistoryError);
  EXPECT_THROW(store.settleTrash({}), SyncHistoryError);
  EXPECT_FALSE(fs::exists(file.path()));
}

}  // namespace tolvander
