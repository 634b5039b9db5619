#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "Platform/Linux/Settings/FileUserDefaults.h"
#include "Tests/Fault/PowerCut.h"
#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Platform/DurableWrite.h"
#include "TolvanderCore/SyncHistoryStore.h"

// What lasts when the power goes at any moment: each store is used on a folder, and opened again in every
// state that a disk may have it in afterwards.

namespace tolvander::tests {

namespace {

namespace fs = std::filesystem;
using platform::linux_::FileUserDefaults;

class PowerCuts : public testing::Test {
 protected:
  void tell(const std::string& store, const PowerCut::Count& count) const {
    EXPECT_GE(count.states, 1U);
    std::cout << store << ": " << count.states << " states of " << count.moments << " moments, at most "
              << count.longestWindow << " changes undecided, " << count.sampledMoments
              << " moments sampled\n";
  }

  const TemporaryFolder folder = TemporaryFolder::inMemory();
  const FileURL disk = [this] {
    fs::create_directory((folder / "disk").path());
    return folder / "disk";
  }();
};

ImportRecord recordOf(const std::string& source) {
  return ImportRecord::make(source, "PICT0001.JPG", "DCIM/PICT0001.JPG", 1,
                            dateFromISO8601("2026-11-15T19:13:17Z").value(), "asset", false);
}

TrashIntent intentOf(unsigned number) {
  TrashIntent intent{.id = {},
                     .deviceIdentifier = "device",
                     .volumeName = "CARD",
                     .originalFilename = "PICT0001.JPG",
                     .originalPath = "/card/PICT0001.JPG",
                     .trashDirectoryPath = "/card/.Trash-1000/files",
                     .volumeIdentifier = "5B2E-9C01",
                     .fingerprint = "fingerprint",
                     .photosAssetIdentifier = "asset",
                     .intendedAt = dateFromISO8601("2026-11-22T06:00:00Z").value()};
  intent.id.bytes[15] = static_cast<std::uint8_t>(number);
  return intent;
}

}  // namespace

TEST_F(PowerCuts, takeWhatWasNotMadeDurableAndNothingElse) {
  const FileURL first = disk.appending("first");
  const FileURL second = disk.appending("second");
  PowerCut cut(disk);
  cut.record([&] {
    writeFile(first, "bytes");
    fs::rename(first.path(), second.path());
  });
  std::set<std::string> found;
  cut.forEachState([&](std::size_t) {
    std::string state;
    for (const std::string& name : namesIn(disk)) {
      state += name + "=" + readFile(disk.appending(name)) + " ";
    }
    found.insert(state);
  });
  EXPECT_EQ(found, (std::set<std::string>{"", "first= ", "first=bytes ", "second= ", "second=bytes "}));

  writeFile(first, "bytes");
  PowerCut kept(disk);
  kept.record([&] { writeDurably(first, 5, std::as_bytes(std::span(" more", 5))); });
  kept.forEachState([&](std::size_t) { EXPECT_TRUE(readFile(first).starts_with("bytes")); });
}

TEST_F(PowerCuts, leaveAHistoryThatHasWhatItPromised) {
  const FileURL file = disk.appending("data/Tolvander/history.json");
  const std::vector<std::string> sources{"a", "b", "c"};
  PowerCut cut(disk);
  cut.record([&] {
    SyncHistoryStore store(file);
    for (const std::string& source : sources) {
      store.record(recordOf(source));
      cut.promise();
    }
  });
  tell("history", cut.forEachState([&](std::size_t promises) {
    SyncHistoryStore store(file);
    ASSERT_NO_THROW(store.ensureAvailable());
    const std::size_t size = store.records().size();
    EXPECT_GE(size, promises);
    EXPECT_LE(size, promises + 1);
    for (std::size_t index = 0; index < size; ++index) {
      EXPECT_TRUE(store.containsSourceFingerprint(sources[index]));
    }
  }));
}

TEST_F(PowerCuts, leaveSettingsThatHaveWhatTheyPromised) {
  const FileURL file = disk.appending("config/com.tolvander.app/defaults.json");
  const std::vector<std::string> names{"", "one", "two", "three"};
  PowerCut cut(disk);
  cut.record([&] {
    FileUserDefaults defaults(file);
    for (std::size_t index = 1; index < names.size(); ++index) {
      defaults.setString("albumName", names[index]);
      cut.promise();
    }
  });
  tell("settings", cut.forEachState([&](std::size_t promises) {
    const FileUserDefaults defaults(file);
    EXPECT_FALSE(defaults.failure());
    const std::string name = defaults.string("albumName").value_or("");
    EXPECT_TRUE(name == names[promises] || (promises + 1 < names.size() && name == names[promises + 1]))
        << name << " after " << promises;
  }));
}

TEST_F(PowerCuts, leaveEveryIntentThatWasWrittenDown) {
  const FileURL file = disk.appending("data/Tolvander/history.json");
  PowerCut cut(disk);
  cut.record([&] {
    SyncHistoryStore store(file);
    for (unsigned number = 1; number <= 3; ++number) {
      store.beginTrashMove(intentOf(number));
      cut.promise();
    }
  });
  tell("intents", cut.forEachState([&](std::size_t promises) {
    const auto intents = SyncHistoryStore(file).unsettledTrashIntents();
    EXPECT_GE(intents.size(), promises);
    EXPECT_LE(intents.size(), promises + 1);
    for (std::size_t index = 0; index < intents.size(); ++index) {
      EXPECT_EQ(intents[index], intentOf(static_cast<unsigned>(index) + 1));
    }
  }));
}

TEST_F(PowerCuts, leaveTheIntentsThatWereNotForgotten) {
  const FileURL file = disk.appending("data/Tolvander/history.json");
  {
    SyncHistoryStore store(file);
    store.beginTrashMove(intentOf(1));
    store.beginTrashMove(intentOf(2));
  }
  PowerCut cut(disk);
  cut.record([&] { SyncHistoryStore(file).forgetTrashIntents({intentOf(1).id}); });
  tell("forgotten intents", cut.forEachState([&](std::size_t) {
    const auto intents = SyncHistoryStore(file).unsettledTrashIntents();
    ASSERT_FALSE(intents.empty());
    EXPECT_EQ(intents.back(), intentOf(2));
  }));
}

// The card is on the same disk as the history, so that every order of their changes is tried.
class PowerCutsOfTheTrash : public PowerCuts {
 protected:
  void moveAndCutThePower(const std::string& name, const PowerCut::Options& options,
                          std::size_t fewestPromises) {
    const FileURL file = disk.appending("data/history.json");
    TrashScene scene(disk.appending("card"));
    scene.watched.volumeUUID = [](const FileURL&) { return "VOLUME"; };
    std::vector<FingerprintedMediaFile> photos;
    for (std::size_t index = 0; index < contents.size(); ++index) {
      photos.push_back(scene.addPhoto("PICT000" + std::to_string(index) + ".JPG", contents[index]));
    }
    PowerCut cut(disk, options);
    cut.record([&] {
      const auto store = std::make_shared<SyncHistoryStore>(file);
      scene.intentLog = app::TrashIntentLog::of(store);
      store->addTrash(scene.move(photos).records);
      cut.promise();
    });
    const auto verify = [&](std::size_t promises) { verifyState(scene, file, promises); };
    tell(name, cut.forEachState(verify, fewestPromises));
  }

  void verifyState(TrashScene& scene, const FileURL& file, std::size_t promises) const {
    SyncHistoryStore store(file);
    ASSERT_NO_THROW(store.ensureAvailable());
    EXPECT_EQ(store.trashRecords().size(), promises == 0 ? store.trashRecords().size() : contents.size());
    const auto settlement = scene.service.settlement({}, store.unsettledTrashIntents(), CancellationToken());
    for (const std::string& content : contents) {
      std::size_t copies = 0;
      for (const FileURL& place : {scene.camera, scene.trash}) {
        for (const std::string& name : namesIn(place)) {
          if (readFile(place.appending(name)) != content) {
            continue;
          }
          ++copies;
          const std::string path = place.appending(name).path();
          const auto isOfPath = [&](const ManagedTrashRecord& record) { return record.trashedPath == path; };
          EXPECT_TRUE(place == scene.camera || std::ranges::any_of(settlement.found, isOfPath) ||
                      std::ranges::any_of(store.trashRecords(), isOfPath))
              << path;
          EXPECT_TRUE(place == scene.camera || exists(scene.infoOf(name))) << path;
        }
      }
      EXPECT_EQ(copies, 1U) << content;
    }
  }

  const std::vector<std::string> contents{"a photo of the sea", "a photo of a hill"};
};

TEST_F(PowerCutsOfTheTrash, leaveNoMovedFileThatTheNextStartDoesNotKnow) {
  moveAndCutThePower("Trash", {}, 0);
}

// While a file is being moved, a FAT can lose both of its names. Not when it is said to be in the Trash.
TEST_F(PowerCutsOfTheTrash, leaveEveryRecordedFileInTheTrashOfAFAT) {
  moveAndCutThePower("Trash on a FAT", {.leftOut = {}, .fat = "card"}, 1);
}

}  // namespace tolvander::tests
