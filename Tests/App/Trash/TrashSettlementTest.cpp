#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "Platform/Linux/Trash/TrashInfo.h"
#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

using Records = std::vector<ManagedTrashRecord>;
using Names = std::vector<std::string>;

constexpr std::string_view content = "a photo of the sea";

class TrashSettlementTest : public testing::Test {
 protected:
  TrashSettlementTest() {
    scene.watched.volumeUUID = [](const FileURL&) { return "VOLUME"; };
  }

  TrashSettlement settlement(const Records& records = {}) const {
    return scene.service.settlement(records, scene.intents, CancellationToken());
  }

  // An item that another program put into the Trash, with this note of where it came from.
  void putIntoTrash(const std::string& name, std::string_view bytes, const std::string& path,
                    std::chrono::system_clock::time_point when) const {
    writeFile(scene.inTrash(name), bytes);
    writeFile(scene.infoOf(name),
              platform::linux_::trashInfoText(path, std::chrono::system_clock::to_time_t(when)));
  }

  // Files that the user moved there are none that an intent names.
  void expectNothingFound() const {
    const TrashSettlement found = settlement();
    EXPECT_TRUE(found.found.empty());
    EXPECT_EQ(found.settledIntents, std::set<UUID>{scene.intents.front().id});
  }

  void expectNothingConcluded(const Records& records = {}) const {
    EXPECT_TRUE(settlement(records).changesNothing());
  }

  void failAt(const std::string& call) {
    scene.watched.before = [call](const std::string& made) {
      if (made == call) {
        throw PosixError(EIO, "do", FileURL("/"));
      }
    };
  }

  TemporaryFolder folder;
  TrashScene scene{folder / "volume"};
  FingerprintedMediaFile photo = scene.addPhoto("PICT0001.JPG", content);
  const FileURL original = scene.camera.appending("PICT0001.JPG");
  const std::string pathOnVolume = "DCIM/100CHRM/PICT0001.JPG";
};

}  // namespace

// The intent

TEST_F(TrashSettlementTest, aMoveIsWrittenDownBeforeItHappens) {
  std::size_t intentsAtTheMove = 0;
  scene.watched.before = [&](const std::string& call) {
    if (call == "trashItem") {
      intentsAtTheMove = scene.intents.size();
    }
  };
  const ManagedTrashRecord record = scene.moved(photo);
  EXPECT_EQ(intentsAtTheMove, 1U);
  ASSERT_EQ(scene.intents.size(), 1U);
  const TrashIntent& intent = scene.intents.front();
  EXPECT_EQ(intent.recordOf(record.trashedPath, *record.identity, record.trashedAt), record);
  EXPECT_EQ(intent.volumeIdentifier, "VOLUME");
  EXPECT_LE(intent.intendedAt, record.trashedAt);
}

TEST_F(TrashSettlementTest, aFileWhoseMoveCanNotBeWrittenDownStaysOnTheCamera) {
  scene.intentLog.begin = [](const TrashIntent&) { throw PosixError(ENOSPC, "write", FileURL("/")); };
  EXPECT_EQ(scene.move({photo}), (app::TrashMoveResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(readFile(original), content);
  EXPECT_TRUE(namesIn(scene.trash).empty());
}

TEST_F(TrashSettlementTest, aFileThatIsOnTheCameraAgainHasNoIntent) {
  failAt("trashItem");
  EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(scene.intents.empty());

  scene.watched.before = [&](const std::string& call) {
    if (call == "trashItem") {
      failAt("file.read");  // so that what was moved can't be proven
    }
  };
  EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(scene.intents.empty());
  EXPECT_EQ(readFile(original), content);
}

TEST_F(TrashSettlementTest, aFileThatStayedInTheTrashUnprovenKeepsItsIntent) {
  scene.watched.saysWhereItMovedAnItem = false;
  EXPECT_EQ(scene.move({photo}).recoveryPaths, Names{"macOS Trash: PICT0001.JPG"});
  EXPECT_EQ(settlement().found.size(), 1U);
}

// What it proves

TEST_F(TrashSettlementTest, findsTheFileThatAnIntentNames) {
  const ManagedTrashRecord record = scene.moved(photo);
  const TrashSettlement settled = settlement();
  ASSERT_EQ(settled.found.size(), 1U);
  ManagedTrashRecord expected = record;
  expected.trashedAt = scene.intents.front().intendedAt;
  EXPECT_EQ(settled.found.front(), expected);
  EXPECT_EQ(settled.settledIntents, std::set<UUID>{record.id});
  EXPECT_EQ(scene.service.restoreToOriginalLocations(settled.found).restored, std::set<UUID>{record.id});
  EXPECT_EQ(readFile(original), content);
}

TEST_F(TrashSettlementTest, dropsAnIntentWhoseFileIsStillOnTheCamera) {
  scene.moved(photo);
  std::filesystem::copy(scene.inTrash("PICT0001.JPG").path(), original.path());
  expectNothingFound();
}

TEST_F(TrashSettlementTest, findsAFileWhoseNameOnTheCameraAnotherHasTaken) {
  scene.moved(photo);
  writeFile(original, "another picture");
  EXPECT_EQ(settlement().found.size(), 1U);
}

TEST_F(TrashSettlementTest, takesNoFileThatWasInTheTrashBeforeTheIntent) {
  const ManagedTrashRecord record = scene.moved(photo);
  putIntoTrash(
      "PICT0001.JPG", content, pathOnVolume,
      std::chrono::system_clock::time_point(scene.intents.front().intendedAt) - std::chrono::seconds(1));
  expectNothingFound();
}

TEST_F(TrashSettlementTest, takesNoFileOfOtherContentOrFromElsewhere) {
  scene.moved(photo);
  const auto now = std::chrono::system_clock::now();
  std::filesystem::remove(scene.inTrash("PICT0001.JPG").path());
  putIntoTrash("PICT0001.JPG", "other content", pathOnVolume, now);
  putIntoTrash("elsewhere.JPG", content, "DCIM/101CHRM/PICT0001.JPG", now);
  putIntoTrash("absolute.JPG", content, "/DCIM/100CHRM/PICT0001.JPG", now);
  writeFile(scene.inTrash("unnoted.JPG"), content);
  expectNothingFound();
}

TEST_F(TrashSettlementTest, takesNoFileThatARecordHas) {
  ManagedTrashRecord record = scene.moved(photo);
  record.id = UUID::random();
  const TrashSettlement settled = settlement({record});
  EXPECT_TRUE(settled.found.empty());
  EXPECT_EQ(settled.settledIntents.size(), 1U);
}

TEST_F(TrashSettlementTest, givesNoFileToTwoIntents) {
  scene.moved(photo);
  scene.intents.push_back(scene.intents.front());
  scene.intents.back().id = UUID::random();
  EXPECT_EQ(settlement().found.size(), 1U);
}

TEST_F(TrashSettlementTest, dropsAnIntentWhoseFileIsInNeitherPlace) {
  scene.moved(photo);
  std::filesystem::remove(scene.inTrash("PICT0001.JPG").path());
  expectNothingFound();
}

TEST_F(TrashSettlementTest, concludesNothingFromATrashThatCanNotBeRead) {
  const Records records{scene.moved(photo)};
  std::filesystem::remove(scene.inTrash("PICT0001.JPG").path());
  for (const char* const call : {"trashedItems", "openDirectory", "trashDirectory", "status"}) {
    SCOPED_TRACE(call);
    failAt(call);
    scene.intents.clear();  // of an intent, "status" isn't asked
    expectNothingConcluded(records);
  }
  scene.watched.before = nullptr;
  std::filesystem::remove_all(scene.trash.path());
  expectNothingConcluded(records);
}

TEST_F(TrashSettlementTest, concludesNothingOfAnIntentThatCanNotBeLookedAt) {
  scene.moved(photo);
  for (const char* const call : {"trashedItems", "openDirectory", "trashDirectory", "file.read"}) {
    SCOPED_TRACE(call);
    failAt(call);
    expectNothingConcluded();
  }
  scene.watched.before = nullptr;
  scene.watched.volumeUUID = [](const FileURL&) { return "ANOTHER"; };
  expectNothingConcluded();
}

TEST_F(TrashSettlementTest, concludesNothingFromPathsThatAreNone) {
  Records records{scene.moved(photo)};
  records.front().trashedPath = "relative";
  scene.intents.front().trashDirectoryPath = "";
  expectNothingConcluded(records);
  records.front().trashDirectoryPath = "relative";
  expectNothingConcluded(records);
}

// Records

TEST_F(TrashSettlementTest, knowsARecordWhoseFileHasLeftTheTrash) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  const Records records{scene.moved(photo), scene.moved(second)};
  scene.intents.clear();
  expectNothingConcluded(records);
  std::filesystem::remove(scene.inTrash("PICT0001.JPG").path());
  const TrashSettlement settled = settlement(records);
  EXPECT_EQ(settled.emptied, std::set<UUID>{records[0].id});
  EXPECT_TRUE(settled.relocated.empty());
}

TEST_F(TrashSettlementTest, keepsARecordOfAnOlderVersionAndOneWhoseNameAnotherFileHas) {
  Records records{scene.moved(photo)};
  scene.intents.clear();
  renameFile(scene.inTrash("PICT0001.JPG"), folder / "away");
  writeFile(scene.inTrash("PICT0001.JPG"), "another file");
  expectNothingConcluded(records);
  std::filesystem::remove(scene.inTrash("PICT0001.JPG").path());
  records.front().identity.reset();
  expectNothingConcluded(records);
}

TEST_F(TrashSettlementTest, followsAFileThatGotAnotherNameInTheTrash) {
  const Records records{scene.moved(photo)};
  scene.intents.clear();
  const auto trash = scene.service.openDirectory(scene.trash);
  scene.platform.renameExclusively(trash.descriptor(), "PICT0001.JPG", trash.descriptor(),
                                   "Tolvander-6F1C0D3E-7B1A-4C52-9C39-1E1B7F6A2D10.trash-item");
  const TrashSettlement settled = settlement(records);
  EXPECT_TRUE(settled.emptied.empty());
  ASSERT_EQ(settled.relocated.size(), 1U);
  EXPECT_EQ(scene.service.availableRecords(settled.relocated).size(), 1U);
}

TEST_F(TrashSettlementTest, isCutShortByCancellation) {
  scene.moved(photo);
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(scene.service.settlement({}, scene.intents, source.token()), CancellationError);
}

}  // namespace tolvander::tests
