#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/SyncHistoryStore.h"

// Every call that changes files fails, or is the last that the process makes, while files are moved to the
// Trash, restored and deleted and the history is told. Afterwards every file is on the camera, or in the
// Trash with a record or an info file that says where it came from, or named as being somewhere else.

namespace tolvander::tests {

namespace {

constexpr std::size_t photoCount = 2;

std::string nameOf(std::size_t index) { return "PICT000" + std::to_string(index + 1) + ".JPG"; }
std::string contentOf(std::size_t index) { return "photo " + std::to_string(index); }

class TrashFaults : public testing::Test {
 protected:
  void makeCamera() {
    scene_.reset();
    store_.reset();
    for (const char* part : {"volume", "data"}) {
      std::filesystem::remove_all((folder_ / part).path());
    }
    scene_ = std::make_unique<TrashScene>(folder_ / "volume");
    scene_->watched.volumeUUID = [](const FileURL&) { return "VOLUME"; };
    store_ = std::make_shared<SyncHistoryStore>(historyFile());
    photos_.clear();
    for (std::size_t index = 0; index < photoCount; ++index) {
      photos_.push_back(scene_->addPhoto(nameOf(index), contentOf(index)));
    }
    scene_->intentLog = app::TrashIntentLog::of(store_);
    accountedFor_.clear();
  }

  void makeTrash() {
    makeCamera();
    store_->addTrash(scene_->move(photos_).records);
    ASSERT_EQ(store_->trashRecords().size(), photoCount);
  }

  // As the cleanup after a sync does it.
  void move() {
    const app::TrashMoveResult result = scene_->move(photos_);
    accountedFor_ = result.recoveryPaths;
    try {
      store_->addTrash(result.records);
    } catch (...) {
      const auto restored = scene_->service.restoreToOriginalLocations(result.records).restored;
      for (const ManagedTrashRecord& record : result.records) {
        if (!restored.contains(record.id)) {
          accountedFor_.push_back(record.trashedPath);
        }
      }
      throw;
    }
  }

  void restore() {
    const auto result = scene_->service.restoreToOriginalLocations(store_->trashRecords());
    store_->removeTrash(result.restored);
  }

  void permanentlyDelete() {
    const auto records = store_->trashRecords();
    const auto result = scene_->service.permanentlyDelete(records, isProven, CancellationToken());
    for (const ManagedTrashRecord& record : records) {
      if (result.deleted.contains(record.id)) {
        accountedFor_.push_back(record.originalFilename);
      }
    }
    store_->updateTrash(result.deleted, result.relocated);
  }

  bool isOnCamera(std::size_t index) const { return holds(scene_->camera.appending(nameOf(index)), index); }

  // The item that has the photo, whatever its name in the Trash.
  std::optional<FileURL> itemOf(std::size_t index) const {
    for (const std::string& name : namesIn(scene_->trash)) {
      if (holds(scene_->inTrash(name), index)) {
        return scene_->inTrash(name);
      }
    }
    return std::nullopt;
  }

  bool isAccountedFor(const std::string& text) const {
    return std::ranges::find(accountedFor_, text) != accountedFor_.end();
  }

  bool hasRecord(const FileURL& item) const {
    SyncHistoryStore restarted(historyFile());
    const auto available = scene_->service.availableRecords(restarted.trashRecords());
    return std::ranges::any_of(
        available, [&](const ManagedTrashRecord& record) { return record.trashedPath == item.path(); });
  }

  bool hasInfo(const FileURL& item, std::size_t index) const {
    const FileURL info = scene_->infoOf(std::string(item.lastPathComponent()));
    return exists(info) && readFile(info).starts_with("[Trash Info]\nPath=DCIM/100CHRM/" + nameOf(index) +
                                                      "\nDeletionDate=2");
  }

  // What the next start does.
  void settle() const {
    SyncHistoryStore restarted(historyFile());
    const auto settlement = scene_->service.settlement(
        restarted.trashRecords(), restarted.unsettledTrashIntents(), CancellationToken());
    restarted.settleTrash(settlement);
  }

  // The photo in the Trash that was there before, the user's own, which looks like one of ours.
  void addUsersOwnItem() {
    writeFile(scene_->inTrash("own.JPG"), contentOf(0));
    writeFile(scene_->infoOf("own.JPG"),
              "[Trash Info]\nPath=DCIM/100CHRM/" + nameOf(0) + "\nDeletionDate=2020-01-01T00:00:00\n");
  }

  // After a kill: the next start knows every moved file and no other, and puts all of them back.
  void expectNextStartToRestoreEveryPhoto() {
    std::set<std::string> moved;
    for (const std::string& name : namesIn(scene_->trash)) {
      moved.insert(scene_->inTrash(name).path());
    }
    EXPECT_EQ(moved.erase(scene_->inTrash("own.JPG").path()), 1U);
    settle();
    SyncHistoryStore restarted(historyFile());
    std::set<std::string> recorded;
    for (const ManagedTrashRecord& record : restarted.trashRecords()) {
      EXPECT_TRUE(recorded.insert(record.trashedPath).second) << "recorded twice";
    }
    EXPECT_EQ(recorded, moved);
    EXPECT_TRUE(restarted.unsettledTrashIntents().empty());
    const auto records = restarted.trashRecords();
    restarted.removeTrash(scene_->service.restoreToOriginalLocations(records).restored);
    for (std::size_t index = 0; index < photoCount; ++index) {
      EXPECT_TRUE(isOnCamera(index)) << nameOf(index);
    }
    EXPECT_EQ(namesIn(scene_->trash), std::vector<std::string>{"own.JPG"});
    // What the user moves there himself afterwards is his own.
    scene_->moveAsAnotherProgramDoes(nameOf(0));
    settle();
    EXPECT_TRUE(SyncHistoryStore(historyFile()).trashRecords().empty());
  }

  void expectEveryPhotoAccountedFor(const Fault& fault, const FaultOutcome& outcome, bool mayBeGone) const {
    const bool resultIsUnknown = fault.kind == Fault::Kind::kill;  // it went with the process
    for (std::size_t index = 0; index < photoCount; ++index) {
      const auto item = itemOf(index);
      if (isOnCamera(index)) {
        EXPECT_FALSE(item);
      } else if (item && resultIsUnknown) {
        EXPECT_TRUE(hasRecord(*item) || hasInfo(*item, index)) << item->path();
      } else if (item) {
        EXPECT_TRUE(hasRecord(*item) || isAccountedFor(item->path()) ||
                    (mayBeGone && outcome.threw && hasInfo(*item, index)))
            << item->path();
      } else {
        EXPECT_TRUE(mayBeGone && (resultIsUnknown || isAccountedFor(nameOf(index)))) << nameOf(index);
      }
    }
  }

  // Of calls that merely failed; those that take an info file away are the exception.
  void expectNoStaleInfo(const FaultOutcome& outcome) const {
    if (outcome.wasKilled || outcome.call == "fsync" || outcome.call == "unlinkat") {
      return;
    }
    for (std::string name : namesIn(scene_->infoOf("").deletingLastPathComponent())) {
      name.resize(name.size() - std::string(".trashinfo").size());
      EXPECT_TRUE(exists(scene_->inTrash(name))) << name;
    }
  }

  // Returns how many points were hit.
  std::size_t forEachPoint(const Fault& fault, const std::function<void()>& setUp,
                           const std::function<void()>& operation,
                           const std::function<void(const FaultOutcome&)>& verify) {
    std::size_t hit = 0;
    for (std::size_t point = 1;; point += stepThrough(7)) {
      setUp();
      const FaultOutcome outcome = runWithFault(fault, point, operation);
      SCOPED_TRACE("fault at call " + std::to_string(point) + " (" + outcome.call + ")");
      verify(outcome);
      if (!outcome.wasHit() || HasFailure()) {
        return hit;
      }
      ++hit;
    }
  }

  FileURL historyFile() const { return folder_ / "data/history.json"; }

 private:
  static bool holds(const FileURL& url, std::size_t index) {
    return exists(url) && readFile(url) == contentOf(index);
  }

  TemporaryFolder folder_;
  std::unique_ptr<TrashScene> scene_;
  std::shared_ptr<SyncHistoryStore> store_;
  std::vector<FingerprintedMediaFile> photos_;
  // What the user is told of: paths in the Trash, and names of files that were deleted.
  std::vector<std::string> accountedFor_;
};

const std::vector<Fault>& faults() {
  static const std::vector<Fault> all{Fault::failing(EIO), Fault::failingFromThenOn(EIO), Fault::shortWrite(),
                                      Fault::kill()};
  return all;
}

// A moved file takes a created, written and synchronised info file, and a rename; a saved history about as
// much.
constexpr std::size_t fewestCallsOfAMove = photoCount * 5 + 5;

}  // namespace

TEST_F(TrashFaults, leaveEveryFileAccountedForDuringAMove) {
  for (const Fault& fault : faults()) {
    const std::size_t points = forEachPoint(
        fault, [this] { makeCamera(); }, [this] { move(); },
        [&](const FaultOutcome& outcome) {
          expectEveryPhotoAccountedFor(fault, outcome, false);
          if (fault.kind == Fault::Kind::error) {
            expectNoStaleInfo(outcome);
          }
        });
    EXPECT_GE(points * stepThrough(7), fewestCallsOfAMove);
  }
}

TEST_F(TrashFaults, leaveNoMovedFileUnknownToTheNextStartWhereverTheProcessIsKilled) {
  const std::size_t points = forEachPoint(
      Fault::kill(),
      [this] {
        makeCamera();
        addUsersOwnItem();
      },
      [this] { move(); }, [this](const FaultOutcome&) { expectNextStartToRestoreEveryPhoto(); });
  EXPECT_GE(points * stepThrough(7), fewestCallsOfAMove);
  std::cout << points << " kill points\n";
}

TEST_F(TrashFaults, leaveEveryFileAccountedForDuringARestore) {
  for (const Fault& fault : faults()) {
    const std::size_t points = forEachPoint(
        fault, [this] { makeTrash(); }, [this] { restore(); },
        [&](const FaultOutcome& outcome) {
          expectEveryPhotoAccountedFor(fault, outcome, false);
          if (fault.kind == Fault::Kind::error) {
            expectNoStaleInfo(outcome);
          }
        });
    EXPECT_GE(points * stepThrough(7), photoCount * 3 + 5);
  }
}

TEST_F(TrashFaults, leaveEveryFileAccountedForDuringADelete) {
  for (const Fault& fault : faults()) {
    const std::size_t points = forEachPoint(
        fault, [this] { makeTrash(); }, [this] { permanentlyDelete(); },
        [&](const FaultOutcome& outcome) {
          expectEveryPhotoAccountedFor(fault, outcome, true);
          if (fault.kind == Fault::Kind::error) {
            expectNoStaleInfo(outcome);
          }
        });
    EXPECT_GE(points * stepThrough(7), photoCount * 5 + 5);
  }
}

}  // namespace tolvander::tests
