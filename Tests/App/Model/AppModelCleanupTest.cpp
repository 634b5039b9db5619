#include <cerrno>
#include <filesystem>

#include "Tests/App/Model/AppModelFlowTest.h"
#include "Tests/Support/Application/TrashScene.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::tests {
namespace {

constexpr std::size_t firstButton = 0;
constexpr std::size_t secondButton = 1;
constexpr const char* needsAttention = "Cleanup needs attention";

class AppModelCleanupTest : public AppModelFlowTest {
 protected:
  // A card whose pictures are synced, with the offer to move them answered so.
  Camera plugInAndSync(int pictures, std::size_t answer = firstButton) {
    const Camera camera = plugInCharmera(pictures);
    world.settings().setDeleteAfterSync(true);
    launch();
    world.dialogs.answers.push_back(answer);
    sync();
    return camera;
  }

  // The same, with the pictures in the Trash, and the ways to them as if it had happened long ago.
  Camera plugInAndTrash(int pictures) {
    const Camera camera = plugInAndSync(pictures);
    EXPECT_EQ(world.history().trashRecords().size(), static_cast<std::size_t>(pictures));
    world.notifications.requests.clear();
    world.dialogs.alerts.clear();
    world.takeStatuses();
    return camera;
  }

  // Syncs a card that is plugged in, and moves what came of it to the Trash.
  Camera plugInAndTrashWith(Camera camera) {
    world.settings().setDeleteAfterSync(true);
    launch();
    world.dialogs.answers = {firstButton};
    sync();
    EXPECT_FALSE(world.history().trashRecords().empty());
    world.dialogs.alerts.clear();
    return camera;
  }

  // The saved access to the one camera becomes one to a volume of this UUID at the same place.
  void saveAccessAsOf(const std::string& volumeUUID) {
    const CameraAccessGrant grant = world.settings().cameraGrants().front();
    DeviceProfile profile = DeviceProfile::standardCameraCard();
    profile.id = UUID::random();
    profile.name = "another";
    profile.kind = DeviceProfile::Kind::customMountedVolume;
    profile.isEnabled = true;
    profile.matchRules.volumeUUID = volumeUUID;
    profile.securityScopedBookmark = grant.bookmark;
    world.settings().addProfile(profile);
    world.settings().removeProfile(grant.id);
  }

  // Prepares a card for a sync during which `meanwhile` happens while the offer is open.
  Camera prepareOffer(
      int pictures, const std::function<void(const Camera&)>& meanwhile = [](const Camera&) {}) {
    const Camera camera = plugInCharmera(pictures);
    world.settings().setDeleteAfterSync(true);
    world.settings().setAutoEjectAfterSync(true);
    launch();
    world.dialogs.answers = {firstButton};
    world.dialogs.whileOpen = [camera, meanwhile] { meanwhile(camera); };
    return camera;
  }

  // The next call of this name to the Trash does something else first.
  void beforeTrashCall(const std::string& name, std::function<void()> act) {
    world.trash.before = [this, name, act = std::move(act)](const std::string& call) {
      if (call == name) {
        world.trash.before = nullptr;
        act();
      }
    };
  }

  void clear() {
    ASSERT_FALSE(model().deviceTrashSummaries->empty());
    clear(model().deviceTrashSummaries->front());
  }
  void clear(const app::DeviceTrashSummary& device) {
    run([&] { model().clearManagedTrash(device); });
    world.dialogs.whileOpen = nullptr;
  }
  void clearWhile(std::function<void()> meanwhile) {
    world.dialogs.answers = {firstButton};
    world.dialogs.whileOpen = std::move(meanwhile);
    clear();
  }

  std::string firstAsset() {
    return world.photoLibrary.fetchAssets(app::PhotosFetchOptions()).front().localIdentifier;
  }

  void expectOnCamera(const Camera& camera, int pictures) {
    for (int number = 1; number <= pictures; ++number) {
      EXPECT_TRUE(exists(picture(camera, number))) << number;
    }
    EXPECT_TRUE(world.history().trashRecords().empty());
    EXPECT_TRUE(world.ejector.ejected.empty());
  }

  FileURL journalFile() const {
    return world.historyFile().deletingLastPathComponent().appending("trash-intents.jsonl");
  }

  // The files are in the Trash, and the process died before it had recorded them.
  void loseRecordsAsAKillDoes() {
    std::set<UUID> ids;
    TrashIntentJournal journal(journalFile());
    const auto records = world.history().trashRecords();
    for (const ManagedTrashRecord& record : records) {
      ids.insert(record.id);
    }
    world.history().removeTrash(ids);
    for (const ManagedTrashRecord& record : records) {
      journal.add({.id = record.id,
                   .deviceIdentifier = *record.deviceIdentifier,
                   .volumeName = record.volumeName,
                   .originalFilename = record.originalFilename,
                   .originalPath = *record.originalPath,
                   .trashDirectoryPath = *record.trashDirectoryPath,
                   .volumeIdentifier = record.identity->volumeIdentifier,
                   .fingerprint = record.fingerprint,
                   .photosAssetIdentifier = *record.photosAssetIdentifier,
                   .intendedAt = record.trashedAt - std::chrono::minutes(1)});
    }
  }

  std::vector<FileURL> trashedFiles() {
    std::vector<FileURL> files;
    for (const auto& record : world.history().trashRecords()) {
      files.emplace_back(record.trashedPath);
    }
    return files;
  }
};

}  // namespace

// The offer

TEST_F(AppModelCleanupTest, asksBeforeItMovesAnything) {
  plugInAndSync(1, secondButton);
  EXPECT_EQ(
      world.dialogs.alerts,
      (std::vector{app::Alert{.style = app::Alert::Style::informational,
                              .message = "Move 1 synced file to macOS Trash?",
                              .informativeText = "Files from “CHARMERA” can be restored in Finder until "
                                                 "Trash is emptied. Keep on Camera changes nothing.",
                              .buttons = {"Move to Trash", "Keep on Camera"}}}));
}

TEST_F(AppModelCleanupTest, countsTheFilesInItsQuestion) {
  plugInAndSync(2, secondButton);
  EXPECT_EQ(world.dialogs.alerts.at(0).message, "Move 2 synced files to macOS Trash?");
}

TEST_F(AppModelCleanupTest, asksNothingWithoutTheSettingOrWithNothingImported) {
  plugInCharmera(1);
  launch();
  sync();
  world.settings().setDeleteAfterSync(true);
  sync();
  EXPECT_TRUE(world.dialogs.alerts.empty());
}

TEST_F(AppModelCleanupTest, keepOnCameraLeavesTheFilesAndTheEjectGoesAhead) {
  const Camera camera = plugInCharmera(1);
  world.settings().setDeleteAfterSync(true);
  world.settings().setAutoEjectAfterSync(true);
  launch();
  world.dialogs.answers = {secondButton};
  letTheDriveGo(camera);
  sync();
  EXPECT_TRUE(exists(picture(camera, 1)));
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
  expectNoFailure("1 photo synced & ejected");
  EXPECT_TRUE(world.logLines("cleanupFinished").empty());
}

// Moving

TEST_F(AppModelCleanupTest, movesTheSyncedFilesAndRemembersThem) {
  const Camera camera = plugInAndSync(2);
  EXPECT_FALSE(exists(picture(camera, 1)));
  EXPECT_FALSE(exists(picture(camera, 2)));
  const auto records = world.history().trashRecords();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].volumeName, "CHARMERA");
  EXPECT_EQ(records[0].originalFilename, "PICT0001.JPG");
  EXPECT_TRUE(records[0].photosAssetIdentifier);
  EXPECT_TRUE(exists(FileURL(records[0].trashedPath)));
  EXPECT_EQ(model().deviceTrashSummaries.value(),
            (std::vector{app::DeviceTrashSummary{
                .id = *records[0].deviceIdentifier, .displayName = "CHARMERA", .count = 2}}));
  EXPECT_EQ(
      notes(),
      (Notes{{"Moved to macOS Trash", "2 files from CHARMERA. Restore in Finder until Trash is emptied."}}))
      << "and no other one of the sync";
  EXPECT_EQ(
      world.logLines("cleanupFinished"),
      (Texts{
          R"({"event":"cleanupFinished","metrics":{"failures":0,"moved_to_trash":2,"recovery_needed":0}})"}));
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 3, statuses.end()),
            (Texts{"2 photos synced", "Moving synced files to Trash…", "2 photos synced"}));
  expectNoFailure("2 photos synced");
}

TEST_F(AppModelCleanupTest, cleanMoveLetsTheCameraBeEjected) {
  const Camera camera = prepareOffer(1);
  letTheDriveGo(camera);
  sync();
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
  expectNoFailure("1 photo synced & ejected");
  EXPECT_EQ(notes().size(), 1U);
}

TEST_F(AppModelCleanupTest, movesNothingOfWhichACopyIsNotInTheLibrary) {
  const Camera camera = prepareOffer(2, [&](const Camera&) { world.photoLibrary.removeAsset(firstAsset()); });
  sync();
  expectFailure("Some newly imported items no longer appear in Photos. The camera originals were kept.",
                needsAttention);
  EXPECT_FALSE(model().offersPhotoReview);
  expectOnCamera(camera, 2);
  EXPECT_TRUE(notes().empty());
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelCleanupTest, cameraThatLeftDuringTheQuestionStopsIt) {
  const Camera camera = prepareOffer(1, [&](const Camera& synced) { world.unmount(synced); });
  sync();
  EXPECT_EQ(model().lastError.value(), std::nullopt);
  EXPECT_TRUE(world.history().trashRecords().empty());
  EXPECT_TRUE(exists(picture(camera, 1)));
  EXPECT_TRUE(world.logLines("cleanupFinished").empty());
}

TEST_F(AppModelCleanupTest, cameraThatLeftDuringTheProofStopsIt) {
  const Camera camera = prepareOffer(1, [&](const Camera& synced) {
    world.photoLibrary.beforeEachIdentifierFetch([this, synced] {
      if (!world.mainThread.isCurrent()) {
        world.mainThread.call([&] { world.unmount(synced); });
      }
    });
  });
  sync();
  EXPECT_EQ(model().lastError.value(), std::nullopt);
  EXPECT_TRUE(world.history().trashRecords().empty());
  EXPECT_TRUE(exists(picture(camera, 1)));
}

TEST_F(AppModelCleanupTest, cameraThatWasForgottenDuringTheQuestionIsNotTouched) {
  const Camera camera = prepareOffer(1, [&](const Camera&) {
    plugInCard(0, "OTHER");  // so that there is a camera left
    world.settings().removeProfile(world.settings().cameraGrants().front().id);
  });
  sync();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Sync needs attention");
  expectOnCamera(camera, 1);
}

TEST_F(AppModelCleanupTest, cameraWhoseSavedAccessIsOfAnotherVolumeIsNotTouched) {
  const Camera camera = prepareOffer(1, [&](const Camera&) { saveAccessAsOf("ANOTHER-VOLUME"); });
  sync();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Sync needs attention");
  expectOnCamera(camera, 1);
}

TEST_F(AppModelCleanupTest, moved3Files1FailureRecordsThe3NotifiesAndIsNotSafeToEject) {
  const Camera camera =
      prepareOffer(4, [&](const Camera& synced) { writeFile(picture(synced, 2), "changed meanwhile"); });
  sync();
  EXPECT_EQ(world.history().trashRecords().size(), 3U);
  EXPECT_TRUE(exists(picture(camera, 2)));
  EXPECT_EQ(
      notes(),
      (Notes{{"Moved to macOS Trash", "3 files from CHARMERA. Restore in Finder until Trash is emptied."}}));
  expectFailure(
      "Some synced files could not be moved to macOS Trash. The camera was not automatically ejected.",
      needsAttention);
  EXPECT_TRUE(world.ejector.ejected.empty());
  EXPECT_EQ(
      world.logLines("cleanupFinished"),
      (Texts{
          R"({"event":"cleanupFinished","metrics":{"failures":1,"moved_to_trash":3,"recovery_needed":0}})"}));
}

TEST_F(AppModelCleanupTest, saysWhichFilesCouldNotBeTracked) {
  world.trash.saysWhereItMovedAnItem = false;
  prepareOffer(1);
  sync();
  expectFailure(
      "1 file is in macOS Trash but could not be safely tracked. Restore it with Finder. The camera was not "
      "automatically ejected.",
      needsAttention);
  EXPECT_TRUE(notes().empty());
  EXPECT_TRUE(world.ejector.ejected.empty());
}

TEST_F(AppModelCleanupTest, saysHowManyFilesCouldNotBeTracked) {
  world.trash.saysWhereItMovedAnItem = false;
  prepareOffer(2);
  sync();
  expectFailure(
      "2 files are in macOS Trash but could not be safely tracked. Restore them with Finder. The camera was "
      "not "
      "automatically ejected.",
      needsAttention);
  EXPECT_EQ(
      world.logLines("cleanupFinished"),
      (Texts{
          R"({"event":"cleanupFinished","metrics":{"failures":2,"moved_to_trash":0,"recovery_needed":2}})"}));
}

// Stopping

TEST_F(AppModelCleanupTest, stopDuringTheQuestionMovesNothing) {
  const Camera camera = prepareOffer(1, [&](const Camera&) { model().stopCheck(); });
  sync();
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 3, statuses.end()),
            (Texts{"Stopping cleanup…", "Cleanup stopped", "Check stopped"}));
  expectOnCamera(camera, 1);
  expectNoFailure("Check stopped");
}

TEST_F(AppModelCleanupTest, stopDuringTheMoveKeepsWhatWasMoved) {
  const Camera camera = prepareOffer(3);
  beforeTrashCall("trashItem", [&] {
    beforeTrashCall("trashItem", [&] { world.mainThread.call([&] { model().stopCheck(); }); });
  });
  sync();
  EXPECT_EQ(world.history().trashRecords().size(), 1U);
  EXPECT_TRUE(exists(picture(camera, 2))) << "put back, since the proof of its move was cut short";
  EXPECT_TRUE(exists(picture(camera, 3)));
  EXPECT_EQ(notes().size(), 1U);
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 3, statuses.end()),
            (Texts{"Stopping cleanup…", "Cleanup stopped", "Check stopped"}));
  EXPECT_TRUE(world.ejector.ejected.empty());
}

TEST_F(AppModelCleanupTest, stopAfterTheLastFileWasMovedIsAStopToo) {
  const Camera camera = prepareOffer(1);
  int moved = 0;
  world.trash.before = [&](const std::string& call) {
    // The move has ended when the files that lie in the Trash are looked for.
    moved += call == "trashItem" ? 1 : 0;
  };
  const auto observer = model().deviceTrashSummaries.observe([&](const auto& summaries) {
    if (moved == 1 && !summaries.empty()) {
      model().stopCheck();
    }
  });
  sync();
  EXPECT_EQ(world.history().trashRecords().size(), 1U);
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 3, statuses.end()),
            (Texts{"Stopping cleanup…", "Cleanup stopped", "Check stopped"}));
  EXPECT_TRUE(world.ejector.ejected.empty());
}

// A history that can't be saved

TEST_F(AppModelCleanupTest, addTrashFailingWithAllFilesRestoredGivesTheSecondMessage) {
  const Camera camera = prepareOffer(2);
  beforeTrashCall("trashItem", [&] { blockHistory(); });
  sync();
  expectFailure(
      "Cleanup history could not be saved. Moved files were restored to the camera; cleanup stopped.",
      needsAttention);
  expectOnCamera(camera, 2);
  EXPECT_TRUE(notes().empty());
  EXPECT_TRUE(model().deviceTrashSummaries->empty());
}

TEST_F(AppModelCleanupTest, addTrashFailingWithOneFileNotRestoredCountsIt) {
  prepareOffer(2);
  beforeTrashCall("trashItem", [&] {
    blockHistory();
    beforeTrashCall("renameExclusively", [] { throw PosixError(EIO, "rename", FileURL("/")); });
  });
  sync();
  expectFailure(
      "Cleanup history could not be saved. 1 file remains in macOS Trash and can be restored with Finder. "
      "Cleanup stopped.",
      needsAttention);
  EXPECT_TRUE(world.ejector.ejected.empty());
}

TEST_F(AppModelCleanupTest, addTrashFailingWithNoFileRestoredCountsThem) {
  prepareOffer(2);
  beforeTrashCall("trashItem", [&] {
    blockHistory();
    world.trash.before = [](const std::string& call) {
      if (call == "renameExclusively") {
        throw PosixError(EIO, "rename", FileURL("/"));
      }
    };
  });
  sync();
  expectFailure(
      "Cleanup history could not be saved. 2 files remain in macOS Trash and can be restored with Finder. "
      "Cleanup stopped.",
      needsAttention);
}

// Deleting for good

TEST_F(AppModelCleanupTest, asksBeforeItDeletesForGood) {
  plugInAndTrash(1);
  clear();
  EXPECT_EQ(world.dialogs.alerts,
            (std::vector{app::Alert{
                .style = app::Alert::Style::critical,
                .message = "Permanently delete 1 trashed file?",
                .informativeText = "Only files Tolvander moved from “CHARMERA” will be deleted. Other items "
                                   "in macOS Trash are untouched. This cannot be undone.",
                .buttons = {"Clear Trash", "Cancel"}}}));
  expectNoFailure("Camera files kept in Trash");
  EXPECT_EQ(trashedFiles().size(), 1U);
  EXPECT_TRUE(exists(trashedFiles().front()));
}

TEST_F(AppModelCleanupTest, deletesWhatItMovedAndNothingElse) {
  plugInAndTrash(2);
  const auto files = trashedFiles();
  const FileURL foreign = files[0].deletingLastPathComponent().appending("somebody else's");
  writeFile(foreign, "kept");
  world.dialogs.answers = {firstButton};
  clear();
  EXPECT_EQ(world.dialogs.alerts.at(0).message, "Permanently delete 2 trashed files?");
  EXPECT_FALSE(exists(files[0]));
  EXPECT_FALSE(exists(files[1]));
  EXPECT_TRUE(exists(foreign));
  EXPECT_TRUE(world.history().trashRecords().empty());
  EXPECT_TRUE(model().deviceTrashSummaries->empty());
  EXPECT_EQ(notes(), (Notes{{"2 trashed files deleted", "2 files permanently deleted from CHARMERA."}}));
  EXPECT_EQ(world.takeStatuses(),
            (Texts{"Clearing camera files from Trash…", "2 camera files cleared from Trash"}));
  EXPECT_EQ(world.logLines("cleanupFinished").back(),
            R"({"event":"cleanupFinished","metrics":{"deleted":2,"failures":0}})");
  expectNoFailure("2 camera files cleared from Trash");
}

TEST_F(AppModelCleanupTest, clearManagedTrashWithNoTrackedFileShowsSoWithoutAnAlert) {
  plugInCharmera(1);
  launch();
  clear({.id = "nobody", .displayName = "CHARMERA", .count = 1});
  expectNoFailure("No tracked camera files to clear");
  EXPECT_TRUE(world.dialogs.alerts.empty());
}

TEST_F(AppModelCleanupTest, trashRecordOfAVolumeThatIsNotMountedIsLeftOutBeforeTheQuestion) {
  plugInAndTrash(1);
  ManagedTrashRecord elsewhere = world.history().trashRecords().front();
  const FileURL file = world.folder / "Volumes/GONE/.Trash/PICT0009.JPG";
  writeFile(file, "on a drive that is away");
  elsewhere = elsewhere.relocatedTo(file.path());
  elsewhere.id = UUID::random();
  world.history().addTrash({elsewhere});
  world.dialogs.answers = {firstButton};
  clear();
  EXPECT_EQ(world.dialogs.alerts.at(0).message, "Permanently delete 1 trashed file?");
  EXPECT_TRUE(exists(file));
  EXPECT_EQ(world.history().trashRecords(), (std::vector{elsewhere}));
  expectNoFailure("1 camera files cleared from Trash");
}

TEST_F(AppModelCleanupTest, recordWhosePathsAreNoneIsNeitherOfferedNorLost) {
  plugInAndTrash(2);
  const auto records = world.history().trashRecords();
  for (const std::string& path : {std::string(), std::string("DCIM/PICT0001.JPG"), std::string("\0", 1)}) {
    ManagedTrashRecord damaged = records[0].relocatedTo(path);
    damaged.originalPath = path;
    world.history().updateTrash({}, {damaged});
    launch();
    ASSERT_EQ(model().deviceTrashSummaries->size(), 1U);
    EXPECT_EQ(model().deviceTrashSummaries->front().count, 1);
    EXPECT_EQ(world.history().trashRecords().front().trashedPath, path);
  }
  world.dialogs.answers = {firstButton};
  clear();
  EXPECT_EQ(world.dialogs.alerts.at(0).message, "Permanently delete 1 trashed file?");
  EXPECT_EQ(world.history().trashRecords().size(), 1U);
}

TEST_F(AppModelCleanupTest, deletesNothingOfWhichACopyIsNotInTheLibrary) {
  plugInAndTrash(2);
  clearWhile([&] { world.photoLibrary.removeAsset(firstAsset()); });
  expectFailure(
      "Some of these items no longer appear in Photos. Nothing was permanently deleted; keep the copies in "
      "Trash "
      "or restore them in Finder.",
      needsAttention);
  EXPECT_EQ(trashedFiles().size(), 2U);
  EXPECT_TRUE(exists(trashedFiles().front()));
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelCleanupTest, provesTheContentOfEveryCopyBeforeItDeletes) {
  plugInAndTrash(1);
  const ImportRecords records = world.history().records();
  const ImportRecord* record = records.find(world.history().trashRecords().front().fingerprint);
  ASSERT_TRUE(record != nullptr && record->processedFingerprint);
  world.dialogs.answers = {firstButton};
  clear();
  using Proofs = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(world.photoLibrary.proofs(), (Proofs{{firstAsset(), *record->processedFingerprint}}));
  expectNoFailure("1 camera files cleared from Trash");
}

TEST_F(AppModelCleanupTest, keepsTheCopyOfWhatTheLibraryHoldsWithOtherContent) {
  plugInAndTrash(1);
  clearWhile([&] { world.photoLibrary.proveOnlyBy(firstAsset(), "another content"); });
  expectFailure(
      "Some of these items no longer appear in Photos. Nothing was permanently deleted; keep the copies in "
      "Trash or restore them in Finder.",
      needsAttention);
  EXPECT_TRUE(exists(trashedFiles().front()));
  EXPECT_TRUE(notes().empty());
  EXPECT_EQ(world.logLines("cleanupFinished").back(),
            R"({"event":"cleanupFinished","metrics":{"deleted":0,"failures":1}})");
}

TEST_F(AppModelCleanupTest, saysHowManyFilesWereDeletedBesideThoseThatTheLibraryHasLost) {
  plugInAndTrash(2);
  clearWhile([&] { world.photoLibrary.proveOnlyBy(firstAsset(), "another content"); });
  expectFailure(
      "Some of these items no longer appear in Photos. 1 file was permanently deleted; keep the remaining "
      "copies in Trash or restore them in Finder.",
      needsAttention);
  EXPECT_EQ(trashedFiles().size(), 1U);
  EXPECT_TRUE(exists(trashedFiles().front()));
}

TEST_F(AppModelCleanupTest, stopDuringTheProofOfTheContentKeepsTheCopy) {
  plugInAndTrash(1);
  world.photoLibrary.beforeEachProof([&] { world.mainThread.call([&] { model().stopCheck(); }); });
  clearWhile([] {});
  EXPECT_TRUE(exists(trashedFiles().front()));
  expectNoFailure("Cleanup stopped");
}

TEST_F(AppModelCleanupTest, deletesNothingOfADriveThatLeftDuringTheQuestion) {
  const Camera camera = plugInAndTrash(1);
  clearWhile([&] { world.unmount(camera); });
  EXPECT_EQ(trashedFiles().size(), 1U);
  EXPECT_TRUE(exists(trashedFiles().front()));
  EXPECT_EQ(model().lastError.value(), std::nullopt);
}

TEST_F(AppModelCleanupTest, deletesNothingOfADriveThatLeftDuringTheProof) {
  const Camera camera = plugInAndTrash(1);
  clearWhile([&] {
    world.photoLibrary.beforeEachIdentifierFetch(
        [&] { world.mainThread.call([&] { world.unmount(camera); }); });
  });
  EXPECT_TRUE(exists(trashedFiles().front()));
  EXPECT_EQ(model().lastError.value(), std::nullopt);
}

TEST_F(AppModelCleanupTest, stopDuringTheQuestionDeletesNothing) {
  plugInAndTrash(1);
  clearWhile([&] { model().stopCheck(); });
  EXPECT_EQ(world.takeStatuses(), (Texts{"Stopping cleanup…", "Cleanup stopped"}));
  EXPECT_TRUE(exists(trashedFiles().front()));
  expectNoFailure("Cleanup stopped");
}

TEST_F(AppModelCleanupTest, stopBeforeTheQuestionAsksNothing) {
  plugInAndTrash(1);
  const app::DeviceTrashSummary device = model().deviceTrashSummaries->front();
  run([&] {
    model().clearManagedTrash(device);
    model().stopCheck();
  });
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(exists(trashedFiles().front()));
  expectNoFailure("Cleanup stopped");
}

TEST_F(AppModelCleanupTest, stopHalfWayKeepsWhatIsLeftAndSaysSo) {
  plugInAndTrash(3);
  const auto files = trashedFiles();
  world.dialogs.answers = {firstButton};
  beforeTrashCall("remove", [&] {
    beforeTrashCall("remove", [&] { world.mainThread.call([&] { model().stopCheck(); }); });
  });
  clear();
  EXPECT_FALSE(exists(files[0]));
  EXPECT_FALSE(exists(files[1])) << "it was being removed when the stop came";
  EXPECT_TRUE(exists(files[2]));
  EXPECT_EQ(trashedFiles(), (std::vector{files[2]}));
  EXPECT_TRUE(notes().empty());
  EXPECT_EQ(world.takeStatuses(),
            (Texts{"Clearing camera files from Trash…", "Stopping cleanup…", "Cleanup stopped"}));
  expectNoFailure("Cleanup stopped");
}

TEST_F(AppModelCleanupTest, stopWithTheLastFileIsAStopToo) {
  plugInAndTrash(1);
  world.dialogs.answers = {firstButton};
  beforeTrashCall("remove", [&] { world.mainThread.call([&] { model().stopCheck(); }); });
  clear();
  EXPECT_TRUE(world.history().trashRecords().empty());
  EXPECT_TRUE(notes().empty());
  expectNoFailure("Cleanup stopped");
}

TEST_F(AppModelCleanupTest, keepsTrackOfAFileThatItCouldOnlyRename) {
  plugInAndTrash(1);
  const FileURL before = trashedFiles().front();
  bool hasFailed = false;
  world.trash.before = [&](const std::string& call) {
    hasFailed = hasFailed || call == "remove";
    // Neither can it be removed nor be given its name back.
    if (hasFailed && (call == "remove" || call == "renameExclusively")) {
      throw PosixError(EIO, call, before);
    }
  };
  world.dialogs.answers = {firstButton};
  clear();
  world.trash.before = nullptr;
  EXPECT_FALSE(exists(before));
  ASSERT_EQ(trashedFiles().size(), 1U);
  EXPECT_TRUE(exists(trashedFiles().front()));
  world.run(model().refreshTrashCount());
  ASSERT_EQ(model().deviceTrashSummaries->size(), 1U);
  EXPECT_EQ(model().deviceTrashSummaries->front().count, 1);
}

// Whose files they are

TEST_F(AppModelCleanupTest, filesOfADriveThatIsAwayAreNeitherCountedNorDeleted) {
  const Camera away = plugInAndTrashWith(plugInCard(1, "AWAY"));
  const FileURL file = trashedFiles().front();
  const std::string id = *world.history().trashRecords().front().deviceIdentifier;
  world.unmount(away);  // its folder stays, as a path that another drive could have
  world.runUntilIdle();
  world.run(model().refreshTrashCount());
  EXPECT_TRUE(model().deviceTrashSummaries->empty());
  world.dialogs.answers = {firstButton};
  clear({.id = id, .displayName = "AWAY", .count = 1});
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(exists(file));
  EXPECT_EQ(world.history().trashRecords().size(), 1U);
}

TEST_F(AppModelCleanupTest, fileThatIsRecordedOfAnotherVolumeThanItsPlaceIsNeitherCountedNorDeleted) {
  plugInAndTrash(1);
  ManagedTrashRecord record = world.history().trashRecords().front();
  world.history().removeTrash({record.id});
  record.deviceIdentifier = "ANOTHER-VOLUME";
  world.history().addTrash({record});
  world.run(model().refreshTrashCount());
  EXPECT_TRUE(model().deviceTrashSummaries->empty());
  world.dialogs.answers = {firstButton};
  clear({.id = "ANOTHER-VOLUME", .displayName = "CHARMERA", .count = 1});
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(exists(FileURL(record.trashedPath)));
}

TEST_F(AppModelCleanupTest, filesOfAForgottenCameraAreNeitherCountedNorDeleted) {
  plugInAndTrash(1);
  plugInCard(0, "OTHER");  // so that there is a camera left
  const app::DeviceTrashSummary device = model().deviceTrashSummaries->front();
  world.settings().removeProfile(world.settings().cameraGrants().front().id);
  world.run(model().refreshTrashCount());
  EXPECT_TRUE(model().deviceTrashSummaries->empty());
  world.dialogs.answers = {firstButton};
  clear(device);
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(exists(trashedFiles().front()));
}

TEST_F(AppModelCleanupTest, deletesNothingWhereAnotherDriveTookThePlaceDuringTheQuestion) {
  const Camera camera = plugInAndTrash(1);
  const std::size_t proofs = world.photoLibrary.identifierFetches().size();
  clearWhile([&] {
    // Another drive that the user has saved as well, with the same files under the same paths.
    const FileURL other = world.folder / "Volumes/other drive";
    std::filesystem::rename(camera.url.path(), other.path());
    std::filesystem::create_directory_symlink(other.path(), camera.url.path());
    saveAccessAsOf(*volumeResourceValues(camera.url).uuid);
  });
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(world.photoLibrary.identifierFetches().size(), proofs) << "it ends before the proof";
  EXPECT_EQ(trashedFiles().size(), 1U);
  EXPECT_TRUE(exists(trashedFiles().front()));
}

// What went wrong

TEST_F(AppModelCleanupTest, saysThatSomeFilesCouldNotBeCleared) {
  plugInAndTrash(2);
  clearWhile([&] { writeFile(trashedFiles().front(), "changed meanwhile"); });
  expectFailure(
      "Some tracked files could not be cleared. Remaining files are still in macOS Trash and can be managed "
      "in "
      "Finder.",
      needsAttention);
  EXPECT_EQ(trashedFiles().size(), 1U);
  EXPECT_TRUE(notes().empty());
  EXPECT_EQ(world.logLines("cleanupFinished").back(),
            R"({"event":"cleanupFinished","metrics":{"deleted":1,"failures":1}})");
}

TEST_F(AppModelCleanupTest, saysWhenADeletionCouldNotBeRecorded) {
  plugInAndTrash(1);
  beforeTrashCall("remove", [&] { blockHistory(); });
  world.dialogs.answers = {firstButton};
  clear();
  EXPECT_EQ(
      model().lastError.value(),
      "Trash history could not be saved. 1 file was permanently deleted; remaining files are still in macOS "
      "Trash. Manage remaining items in Finder before retrying.");
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelCleanupTest, saysHowManyDeletionsCouldNotBeRecorded) {
  plugInAndTrash(2);
  beforeTrashCall("remove", [&] { blockHistory(); });
  world.dialogs.answers = {firstButton};
  clear();
  EXPECT_EQ(
      model().lastError.value(),
      "Trash history could not be saved. 2 files were permanently deleted; remaining files are still in "
      "macOS Trash. Manage remaining items in Finder before retrying.");
}

TEST_F(AppModelCleanupTest, doesNothingWhileAnotherFlowRunsOrBeforeSetup) {
  plugInAndTrash(1);
  const app::DeviceTrashSummary device = model().deviceTrashSummaries->front();
  whenIn(SyncPhase::Kind::recognizing, [&] { model().clearManagedTrash(device); });
  sync();
  world.settings().setOnboardingCompleted(false);
  clear(device);
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_EQ(trashedFiles().size(), 1U);
}

// What an earlier run left

TEST_F(AppModelCleanupTest, recordsAtTheNextStartWhatAKilledRunMoved) {
  const Camera camera = plugInAndTrash(2);
  loseRecordsAsAKillDoes();
  launch();
  ASSERT_EQ(model().deviceTrashSummaries->size(), 1U);
  EXPECT_EQ(model().deviceTrashSummaries->front().count, 2);
  EXPECT_TRUE(TrashIntentJournal(journalFile()).intents().empty());
  run([&] { model().restoreManagedTrash(model().deviceTrashSummaries->front(), std::nullopt); });
  EXPECT_TRUE(exists(picture(camera, 1)));
  EXPECT_TRUE(exists(picture(camera, 2)));
}

TEST_F(AppModelCleanupTest, waitsWithAnIntentUntilItsCameraIsHere) {
  const Camera camera = plugInAndTrash(1);
  loseRecordsAsAKillDoes();
  world.unmount(camera);
  launch();
  EXPECT_TRUE(world.history().trashRecords().empty());
  EXPECT_EQ(TrashIntentJournal(journalFile()).intents().size(), 1U);
  world.mount(camera);
  world.run(model().handleMountedVolume(camera.url));
  EXPECT_EQ(world.history().trashRecords().size(), 1U);
  EXPECT_EQ(model().deviceTrashSummaries->size(), 1U);
}

TEST_F(AppModelCleanupTest, leavesTheIntentsOfACameraThatItMayNotUse) {
  plugInAndTrash(1);
  loseRecordsAsAKillDoes();
  world.settings().removeProfile(world.settings().cameraGrants().front().id);
  launch();
  EXPECT_TRUE(world.history().trashRecords().empty());
  EXPECT_EQ(TrashIntentJournal(journalFile()).intents().size(), 1U);
}

TEST_F(AppModelCleanupTest, dropsTheRecordOfAnEmptiedTrashOnlyWhileItsCameraIsHere) {
  const Camera camera = plugInAndTrash(2);
  std::filesystem::remove(world.history().trashRecords().front().trashedPath);
  world.unmount(camera);
  launch();
  EXPECT_EQ(world.history().trashRecords().size(), 2U);
  world.mount(camera);
  launch();
  EXPECT_EQ(world.history().trashRecords().size(), 1U);
  EXPECT_EQ(model().deviceTrashSummaries->front().count, 1);
}

TEST_F(AppModelCleanupTest, filesThatWentBackHaveNoIntentLeft) {
  prepareOffer(2);
  beforeTrashCall("trashItem", [&] { blockHistory(); });
  sync();
  EXPECT_TRUE(TrashIntentJournal(journalFile()).intents().empty());
}

// Putting back

TEST_F(AppModelCleanupTest, putsFilesBackWhereTheyWere) {
  const Camera camera = plugInAndTrash(2);
  const app::DeviceTrashSummary device = model().deviceTrashSummaries->front();
  run([&] { model().restoreManagedTrash(device, std::set<std::string>{"PICT0002.JPG"}); });
  EXPECT_FALSE(exists(picture(camera, 1)));
  EXPECT_TRUE(exists(picture(camera, 2)));
  expectNoFailure("1 file restored to the camera");
  run([&] { model().restoreManagedTrash(device, std::nullopt); });
  EXPECT_TRUE(exists(picture(camera, 1)));
  EXPECT_TRUE(world.history().trashRecords().empty());
  run([&] { model().restoreManagedTrash(device, std::nullopt); });
  expectNoFailure("No tracked camera files to restore");
}

TEST_F(AppModelCleanupTest, keepsTrackOfAFileThatCouldNotBePutBack) {
  const Camera camera = plugInAndTrash(2);
  writeFile(picture(camera, 1), "the name is taken");
  run([&] { model().restoreManagedTrash(model().deviceTrashSummaries->front(), std::nullopt); });
  expectFailure(
      "Some tracked files could not be restored. Remaining files are still in macOS Trash and can be managed "
      "in "
      "Finder.",
      needsAttention);
  EXPECT_EQ(trashedFiles().size(), 1U);
  EXPECT_EQ(readFile(picture(camera, 1)), "the name is taken");
}

}  // namespace tolvander::tests
