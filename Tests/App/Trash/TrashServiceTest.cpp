#include "TolvanderApp/Trash/TrashService.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

using app::TrashDeletionOperations;
using app::UnsafeTrashItem;
using Names = std::vector<std::string>;

constexpr std::string_view content = "a photo of the sea";

// A volume in a temporary folder. Everything below it is one volume, whatever file system that is.
class TrashServiceTest : public testing::Test {
 protected:
  TrashServiceTest() {
    scene.watched.volumeUUID = [](const FileURL&) { return "VOLUME"; };
  }

  // Lets `act` happen just before the `number`th of these calls.
  void beforeCall(const std::string& call, std::size_t number, std::function<void()> act) {
    scene.watched.before = [this, call, number, act = std::move(act)](const std::string& made) {
      if (made == call && ++seen_ == number) {
        scene.watched.before = nullptr;
        act();
      }
    };
  }

  // The folder counts as lying on another volume.
  void putOnAnotherVolume(const FileURL& top) {
    scene.watched.volumeUUID = [top](const FileURL& url) {
      return url == top || url.isBelow(top) ? "ANOTHER" : "VOLUME";
    };
  }

  void expectStillOnCamera(const app::TrashMoveResult& result) {
    EXPECT_EQ(result, (app::TrashMoveResult{.failures = {"PICT0001.JPG"}}));
    EXPECT_TRUE(namesIn(scene.trash).empty());
    EXPECT_TRUE(namesIn(scene.infoOf("").deletingLastPathComponent()).empty());
  }

  app::TrashDeleteResult permanentlyDelete(const ManagedTrashRecord& record,
                                           const CancellationToken& token = {}) const {
    return scene.service.permanentlyDelete({record}, isProven, token);
  }

  TemporaryFolder folder;
  TrashScene scene{folder / "volume"};
  FingerprintedMediaFile photo = scene.addPhoto("PICT0001.JPG", content);
  const FileURL original = scene.camera.appending("PICT0001.JPG");
  const FileURL aside = folder / "aside";

 private:
  std::size_t seen_ = 0;
};

[[noreturn]] void failWith(int errorNumber) { throw PosixError(errorNumber, "do", FileURL("/")); }

}  // namespace

// Moving

TEST_F(TrashServiceTest, recordsWhatItMoved) {
  const std::uint64_t inode = inodeOf(original);
  const app::TrashMoveResult result = scene.move({photo});
  ASSERT_EQ(result.records.size(), 1U);
  EXPECT_TRUE(result.failures.empty());
  EXPECT_TRUE(result.recoveryPaths.empty());
  EXPECT_FALSE(result.cancelled);
  const ManagedTrashRecord& record = result.records.front();
  EXPECT_EQ(record.deviceIdentifier, "camera");
  EXPECT_EQ(record.volumeName, "CHARMERA");
  EXPECT_EQ(record.trashedPath, scene.inTrash("PICT0001.JPG").path());
  EXPECT_EQ(record.originalFilename, "PICT0001.JPG");
  EXPECT_EQ(record.fingerprint, photo.sourceFingerprint);
  EXPECT_EQ(record.originalPath, original.path());
  EXPECT_EQ(record.trashDirectoryPath, scene.trash.path());
  EXPECT_EQ(record.photosAssetIdentifier, "asset of PICT0001.JPG");
  EXPECT_NE(record.trashedAt, Date());
  ASSERT_TRUE(record.identity);
  EXPECT_EQ(record.identity->volumeIdentifier, "VOLUME");
  EXPECT_FALSE(exists(original));
  EXPECT_EQ(inodeOf(scene.inTrash("PICT0001.JPG")), inode);
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), content);
}

TEST_F(TrashServiceTest, givesAnEmptyResultForAnEmptyList) {
  EXPECT_EQ(scene.move({}), app::TrashMoveResult());
  EXPECT_FALSE(exists(scene.trash));
}

TEST_F(TrashServiceTest, leavesAFileWithoutAssetIdentifierOnTheCamera) {
  scene.assets.clear();
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, leavesAFileWithAnEmptyAssetIdentifierOnTheCamera) {
  scene.assets[photo.sourceFingerprint] = "";
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, goesOnWithTheNextFileAfterAFailure) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  writeFile(original, "edited");
  const app::TrashMoveResult result = scene.move({photo, second});
  EXPECT_EQ(result.failures, Names{"PICT0001.JPG"});
  ASSERT_EQ(result.records.size(), 1U);
  EXPECT_EQ(result.records.front().originalFilename, "PICT0002.JPG");
}

TEST_F(TrashServiceTest, refusesAFileWithASecondHardLink) {
  std::filesystem::create_hard_link(original.path(), aside.path());
  expectStillOnCamera(scene.move({photo}));
  EXPECT_EQ(readFile(original), content);
}

TEST_F(TrashServiceTest, refusesASymbolicLinkInTheFilesPlace) {
  renameFile(original, aside);
  std::filesystem::create_symlink(aside.path(), original.path());
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(std::filesystem::is_symlink(original.path()));
  EXPECT_EQ(readFile(aside), content);
}

TEST_F(TrashServiceTest, refusesADirectoryInTheFilesPlace) {
  renameFile(original, aside);
  std::filesystem::create_directory(original.path());
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, refusesAPipeInTheFilesPlaceWithoutHanging) {
  renameFile(original, aside);
  ASSERT_EQ(mkfifo(original.path().c_str(), 0600), 0);
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, refusesAPathWithALinkInAnyOfItsDirectories) {
  for (const FileURL& directory : {scene.camera, scene.camera.deletingLastPathComponent(), scene.volume}) {
    renameFile(directory, aside);
    std::filesystem::create_directory_symlink(aside.path(), directory.path());
    EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"}) << directory.path();
    std::filesystem::remove(directory.path());
    renameFile(aside, directory);
    EXPECT_EQ(readFile(original), content);
  }
  EXPECT_FALSE(exists(scene.trash));
}

TEST_F(TrashServiceTest, refusesAFileOutsideTheVolume) {
  photo.file.url = folder / "volume-2/PICT0001.JPG";
  writeFile(photo.file.url, content);
  EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
  photo.file.url = scene.volume.appending("../volume-2/PICT0001.JPG");
  EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(folder / "volume-2/PICT0001.JPG"));
}

namespace {

// A separate disk mounted on a folder, with the links at its root that some systems have.
class DiskWithPrivateFolders final : public WatchedTrash {
 public:
  DiskWithPrivateFolders(app::TrashOperations& platform, FileURL top)
      : WatchedTrash(platform), platform_(platform), top_(std::move(top)) {
    volumeUUID = [](const FileURL&) { return "VOLUME"; };
  }
  std::unique_ptr<app::DirectoryDescriptor> openRootDirectory() override {
    auto directory = platform_.openRootDirectory();
    for (const auto& component : std::filesystem::path(top_.path()).relative_path()) {
      directory = platform_.openDirectory(*directory, component.string());
    }
    return directory;
  }
  FileURL trashDirectory(const FileURL& place, bool create) override {
    return inside(platform_.trashDirectory(outside(place), create));
  }
  std::optional<FileURL> trashItem(const app::DirectoryDescriptor& parent, const std::string& name,
                                   const app::DirectoryDescriptor& trash) override {
    return inside(platform_.trashItem(parent, name, trash).value());
  }
  bool keepsTopLevelFoldersInPrivate() const override { return true; }

 private:
  FileURL outside(const FileURL& url) const { return top_.appending(url.path()).resolvingSymlinks(); }
  FileURL inside(const FileURL& url) const { return FileURL(url.path().substr(top_.path().size())); }

  app::TrashOperations& platform_;
  FileURL top_;
};

}  // namespace

TEST_F(TrashServiceTest, goesThroughTheSystemsOwnLinksAtTheTopOfTheDisk) {
  for (const std::string top : {"tmp", "var"}) {
    writeFile(folder / ("private/" + top + "/card/PICT0001.JPG"), content);
    std::filesystem::create_directory_symlink("private/" + top, (folder / top).path());
    DiskWithPrivateFolders disk(scene.platform, folder.url());
    photo.file.url = FileURL("/" + top + "/card/PICT0001.JPG");
    const auto result = app::TrashService(disk, "Trash")
                            .moveToTrash({photo}, FileURL("/" + top + "/card"), "", "", scene.assets,
                                         scene.intentLog, CancellationToken());
    ASSERT_EQ(result.records.size(), 1U) << top;
    EXPECT_EQ(result.records.front().originalPath, "/private/" + top + "/card/PICT0001.JPG");
    EXPECT_FALSE(exists(folder / ("private/" + top + "/card/PICT0001.JPG")));
  }
}

TEST_F(TrashServiceTest, putsPrivateBeforeNothingButTheSystemsTwoLinks) {
  DiskWithPrivateFolders disk(scene.platform, folder.url());
  const app::TrashService service(disk, "Trash");
  EXPECT_EQ(service.normalized(FileURL("/tmp")).path(), "/private/tmp");
  EXPECT_EQ(service.normalized(FileURL("/x/../var/./log/")).path(), "/private/var/log");
  EXPECT_EQ(service.normalized(FileURL("/tmpfiles")).path(), "/tmpfiles");
  EXPECT_EQ(service.normalized(FileURL("/volumes/tmp")).path(), "/volumes/tmp");
  EXPECT_EQ(scene.service.normalized(FileURL("/tmp/./card")).path(), "/tmp/card");
}

TEST_F(TrashServiceTest, refusesAFileThatWasEditedAfterFingerprinting) {
  writeFile(original, "a photo of the SEA");
  expectStillOnCamera(scene.move({photo}));
  EXPECT_EQ(readFile(original), "a photo of the SEA");
}

TEST_F(TrashServiceTest, refusesAFileThatGrowsDuringTheHash) {
  std::size_t statuses = 0;
  std::size_t moves = 0;
  scene.watched.before = [&](const std::string& call) {
    moves += call == "trashItem" ? 1 : 0;
    if (call == "file.status" && ++statuses == 2) {  // which the hash ends with
      writeFile(original, std::string(content) + "!");
    }
  };
  expectStillOnCamera(scene.move({photo}));
  EXPECT_EQ(moves, 0U);
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, refusesANameThatIsSwappedBetweenHashAndMove) {
  beforeCall("trashDirectory", 1, [&] {
    renameFile(original, aside);
    writeFile(original, content);
  });
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
  EXPECT_TRUE(exists(aside));
}

TEST_F(TrashServiceTest, refusesATrashOnAnotherVolume) {
  putOnAnotherVolume(scene.trash);
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, refusesAFolderOfTheVolumeThatAnotherVolumeIsMountedOver) {
  putOnAnotherVolume(scene.camera);
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, neverManagesAVolumeWithoutUUID) {
  scene.watched.volumeUUID = [](const FileURL&) { return std::nullopt; };
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
  EXPECT_FALSE(exists(scene.trash));
}

TEST_F(TrashServiceTest, leavesTheFileWhereTheSystemRefusesTheMove) {
  beforeCall("trashItem", 1, [] { failWith(EINVAL); });
  expectStillOnCamera(scene.move({photo}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, putsAFileBackThatIsAnotherOneAfterTheMove) {
  beforeCall("trashItem", 1, [&] {
    renameFile(original, aside);
    writeFile(original, "somebody else's");
  });
  expectStillOnCamera(scene.move({photo}));
  EXPECT_EQ(readFile(original), "somebody else's");
  EXPECT_EQ(readFile(aside), content);
}

TEST_F(TrashServiceTest, putsTheFileItselfBackWhenTheTrashIsAnotherOneAfterTheMove) {
  scene.watched.before = [&](const std::string& call) {
    if (call == "trashItem") {
      scene.watched.before = [&](const std::string&) {
        scene.watched.before = nullptr;
        renameFile(scene.trash.deletingLastPathComponent(), aside);
        scene.platform.trashDirectory(scene.volume, true);
        writeFile(scene.inTrash("PICT0001.JPG"), "somebody else's");
      };
    }
  };
  EXPECT_EQ(scene.move({photo}), (app::TrashMoveResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(readFile(original), content);
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), "somebody else's");
  EXPECT_TRUE(namesIn(aside.appending("files")).empty());
}

TEST_F(TrashServiceTest, namesThePathOfAFileThatCanNotBePutBackBecauseItsNameWasTaken) {
  std::size_t renames = 0;
  scene.watched.before = [&](const std::string& call) {
    if (call == "trashItem") {
      writeFile(original, "edited meanwhile");
    } else if (call == "renameExclusively") {
      ++renames;
      writeFile(original, "the name is taken");
    }
  };
  const app::TrashMoveResult result = scene.move({photo});
  EXPECT_EQ(renames, 1U);
  EXPECT_EQ(result, (app::TrashMoveResult{.failures = {"PICT0001.JPG"},
                                          .recoveryPaths = {scene.inTrash("PICT0001.JPG").path()}}));
  EXPECT_EQ(readFile(original), "the name is taken");
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), "edited meanwhile");
  EXPECT_TRUE(exists(scene.infoOf("PICT0001.JPG")));
}

TEST_F(TrashServiceTest, namesAFileWhoseMoveLeadsNobodyKnowsWhere) {
  scene.watched.saysWhereItMovedAnItem = false;
  const app::TrashMoveResult result = scene.move({photo});
  EXPECT_EQ(result, (app::TrashMoveResult{.failures = {"PICT0001.JPG"},
                                          .recoveryPaths = {"macOS Trash: PICT0001.JPG"}}));
}

TEST_F(TrashServiceTest, putsTheFileBackWhenCancelledDuringTheHashAfterTheMove) {
  CancellationSource source;
  std::size_t reads = 0;
  bool isMoved = false;
  scene.watched.before = [&](const std::string& call) {
    isMoved = isMoved || call == "trashItem";
    if (isMoved && call == "file.read" && ++reads == 1) {
      source.cancel();
    }
  };
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  EXPECT_EQ(scene.move({photo, second}, source.token()), (app::TrashMoveResult{.cancelled = true}));
  EXPECT_EQ(reads, 1U);
  EXPECT_EQ(readFile(original), content);
  EXPECT_TRUE(exists(second.file.url));
  EXPECT_TRUE(namesIn(scene.trash).empty());
}

TEST_F(TrashServiceTest, movesNothingMoreOnceItIsCancelled) {
  CancellationSource source;
  source.cancel();
  EXPECT_EQ(scene.move({photo}, source.token()), (app::TrashMoveResult{.cancelled = true}));
  EXPECT_TRUE(exists(original));
}

TEST_F(TrashServiceTest, looksForCancellationJustBeforeTheMove) {
  CancellationSource source;
  beforeCall("trashDirectory", 1, [&] { source.cancel(); });
  EXPECT_EQ(scene.move({photo}, source.token()), (app::TrashMoveResult{.cancelled = true}));
  EXPECT_TRUE(exists(original));
  EXPECT_TRUE(namesIn(scene.trash).empty());
}

// Which records stand

TEST_F(TrashServiceTest, givesTheAvailableRecordsInOrder) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  const auto third = scene.addPhoto("PICT0003.JPG", "a third photo");
  auto records = scene.move({photo, second, third}).records;
  ASSERT_EQ(records.size(), 3U);
  std::filesystem::remove(scene.inTrash("PICT0002.JPG").path());
  const auto available = scene.service.availableRecords(records);
  records.erase(records.begin() + 1);
  EXPECT_EQ(available, records);
}

namespace {

struct IncompleteRecord {
  std::string name;
  void (*cut)(ManagedTrashRecord& record);
};

class IncompleteRecords : public TrashServiceTest, public testing::WithParamInterface<IncompleteRecord> {};

}  // namespace

TEST_P(IncompleteRecords, areUnavailableAndNeitherRestoredNorDeleted) {
  ManagedTrashRecord record = scene.moved(photo);
  EXPECT_EQ(scene.service.availableRecords({record}).size(), 1U);
  GetParam().cut(record);
  EXPECT_TRUE(scene.service.availableRecords({record}).empty());
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}),
            (app::TrashRestoreResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(permanentlyDelete(record), (app::TrashDeleteResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), content);
  EXPECT_TRUE(exists(scene.infoOf("PICT0001.JPG")));
}

INSTANTIATE_TEST_SUITE_P(
    TrashService, IncompleteRecords,
    testing::Values(
        IncompleteRecord{"withoutIdentity", [](ManagedTrashRecord& record) { record.identity.reset(); }},
        IncompleteRecord{"withoutTrashDirectory",
                         [](ManagedTrashRecord& record) { record.trashDirectoryPath.reset(); }},
        IncompleteRecord{"withoutAsset",
                         [](ManagedTrashRecord& record) { record.photosAssetIdentifier.reset(); }},
        IncompleteRecord{"withEmptyAsset",
                         [](ManagedTrashRecord& record) { record.photosAssetIdentifier = ""; }},
        IncompleteRecord{"withRelativePath",
                         [](ManagedTrashRecord& record) { record.trashedPath = "PICT0001.JPG"; }},
        IncompleteRecord{"withRelativeTrashDirectory",
                         [](ManagedTrashRecord& record) { record.trashDirectoryPath = "files"; }},
        IncompleteRecord{"withAPathOutsideTheTrash",
                         [](ManagedTrashRecord& record) { record.trashedPath = *record.originalPath; }},
        IncompleteRecord{"withAFolderThatIsNoTrash",
                         [](ManagedTrashRecord& record) {
                           record.trashDirectoryPath =
                               FileURL(record.trashedPath).deletingLastPathComponent().path() + "/..";
                         }}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(TrashServiceTest, refusesAFileInTheTrashThatAnotherOfTheSameNameReplaced) {
  const ManagedTrashRecord record = scene.moved(photo);
  renameFile(scene.inTrash("PICT0001.JPG"), aside);
  writeFile(scene.inTrash("PICT0001.JPG"), content);  // even with the same content
  EXPECT_TRUE(scene.service.availableRecords({record}).empty());
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).failures, Names{"PICT0001.JPG"});
  EXPECT_EQ(permanentlyDelete(record).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(scene.inTrash("PICT0001.JPG")));
  EXPECT_TRUE(exists(aside));
}

TEST_F(TrashServiceTest, refusesARecordedDirectoryThatIsNoTrashAnyMore) {
  const ManagedTrashRecord record = scene.moved(photo);
  std::filesystem::remove_all(scene.infoOf("").deletingLastPathComponent().path());
  EXPECT_TRUE(scene.service.availableRecords({record}).empty());
  EXPECT_EQ(permanentlyDelete(record).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(scene.inTrash("PICT0001.JPG")));
}

// Restoring

TEST_F(TrashServiceTest, restoresToTheOriginalLocation) {
  const ManagedTrashRecord record = scene.moved(photo);
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}),
            (app::TrashRestoreResult{.restored = {record.id}}));
  EXPECT_EQ(readFile(original), content);
  EXPECT_TRUE(namesIn(scene.trash).empty());
  EXPECT_FALSE(exists(scene.infoOf("PICT0001.JPG")));
}

TEST_F(TrashServiceTest, leavesAFileInTheTrashWhoseOriginalNameHasBeenTaken) {
  const ManagedTrashRecord record = scene.moved(photo);
  writeFile(original, "a new photo");
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}),
            (app::TrashRestoreResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(readFile(original), "a new photo");
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), content);
  EXPECT_TRUE(exists(scene.infoOf("PICT0001.JPG")));
}

TEST_F(TrashServiceTest, refusesToRestoreToAFolderOnAnotherVolume) {
  const ManagedTrashRecord record = scene.moved(photo);
  putOnAnotherVolume(scene.camera);
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(scene.inTrash("PICT0001.JPG")));
}

TEST_F(TrashServiceTest, refusesToRestoreARecordWithoutOriginalPath) {
  ManagedTrashRecord record = scene.moved(photo);
  for (const std::optional<std::string>& path : {std::optional<std::string>(), {"PICT0001.JPG"}}) {
    record.originalPath = path;
    EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).failures, Names{"PICT0001.JPG"});
    EXPECT_TRUE(exists(scene.inTrash("PICT0001.JPG")));
  }
}

TEST_F(TrashServiceTest, restoresTheOtherRecordsAfterAFailure) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  const auto records = scene.move({photo, second}).records;
  writeFile(scene.inTrash("PICT0001.JPG"), "edited in the Trash");
  EXPECT_EQ(scene.service.restoreToOriginalLocations(records),
            (app::TrashRestoreResult{.restored = {records.at(1).id}, .failures = {"PICT0001.JPG"}}));
}

TEST_F(TrashServiceTest, countsNoFileAsRestoredThatTookTheNameAtTheLastMoment) {
  const ManagedTrashRecord record = scene.moved(photo);
  beforeCall("renameExclusively", 1, [&] {
    renameFile(scene.inTrash("PICT0001.JPG"), aside);
    writeFile(scene.inTrash("PICT0001.JPG"), "somebody else's");
  });
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}),
            (app::TrashRestoreResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(readFile(original), "somebody else's");
  EXPECT_EQ(readFile(aside), content);
}

// Deleting

TEST_F(TrashServiceTest, deletesForGood) {
  const ManagedTrashRecord record = scene.moved(photo);
  EXPECT_EQ(permanentlyDelete(record), (app::TrashDeleteResult{.deleted = {record.id}}));
  EXPECT_TRUE(namesIn(scene.trash).empty());
  EXPECT_TRUE(namesIn(scene.infoOf("").deletingLastPathComponent()).empty());
  EXPECT_FALSE(exists(original));
}

TEST_F(TrashServiceTest, renamesBackWhatCanNotBeRemoved) {
  const ManagedTrashRecord record = scene.moved(photo);
  beforeCall("remove", 1, [] { failWith(EIO); });
  EXPECT_EQ(permanentlyDelete(record), (app::TrashDeleteResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(scene.infoOf("PICT0001.JPG")));
  EXPECT_EQ(scene.service.availableRecords({record}).size(), 1U);
}

TEST_F(TrashServiceTest, tellsTheNewPlaceOfWhatCanNeitherBeRemovedNorRenamedBack) {
  const ManagedTrashRecord record = scene.moved(photo);
  std::size_t renames = 0;
  scene.watched.before = [&](const std::string& call) {
    if (call == "remove" || (call == "renameExclusively" && ++renames == 2)) {
      failWith(EIO);
    }
  };
  const app::TrashDeleteResult result = permanentlyDelete(record);
  scene.watched.before = nullptr;
  EXPECT_EQ(result.failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(result.deleted.empty());
  ASSERT_EQ(result.relocated.size(), 1U);
  const ManagedTrashRecord& relocated = result.relocated.front();
  EXPECT_EQ(relocated, record.relocatedTo(relocated.trashedPath));
  EXPECT_EQ(readFile(FileURL(relocated.trashedPath)), content);
  EXPECT_EQ(scene.service.availableRecords({relocated}).size(), 1U);
  EXPECT_EQ(scene.service.restoreToOriginalLocations({relocated}).restored, std::set{record.id});
  EXPECT_EQ(readFile(original), content);
}

TEST_F(TrashServiceTest, deletesNoClaimedFileWhoseHashNoLongerMatches) {
  const ManagedTrashRecord record = scene.moved(photo);
  beforeCall("renameExclusively", 1, [&] { writeFile(scene.inTrash("PICT0001.JPG"), "A PHOTO OF THE SEA"); });
  EXPECT_EQ(permanentlyDelete(record), (app::TrashDeleteResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), "A PHOTO OF THE SEA");
}

// A file that isn't the recorded one keeps its name all the time.
TEST_F(TrashServiceTest, claimsNoFileWhoseHashNoLongerMatches) {
  const ManagedTrashRecord record = scene.moved(photo);
  writeFile(scene.inTrash("PICT0001.JPG"), "A PHOTO OF THE SEA");
  beforeCall("renameExclusively", 1, [] { ADD_FAILURE() << "claimed"; });
  EXPECT_EQ(permanentlyDelete(record), (app::TrashDeleteResult{.failures = {"PICT0001.JPG"}}));
}

TEST_F(TrashServiceTest, claimsNoFileThatTookTheNameAfterTheHash) {
  const ManagedTrashRecord record = scene.moved(photo);
  std::size_t looksAtTheName = 0;
  scene.watched.before = [&](const std::string& call) {
    EXPECT_NE(call, "renameExclusively") << "claimed";
    if (call == "status" && ++looksAtTheName == 3) {  // the others belong to the opening and the hash
      renameFile(scene.inTrash("PICT0001.JPG"), aside);
      writeFile(scene.inTrash("PICT0001.JPG"), content);
    }
  };
  EXPECT_EQ(permanentlyDelete(record), (app::TrashDeleteResult{.failures = {"PICT0001.JPG"}}));
  scene.watched.before = nullptr;
  EXPECT_TRUE(exists(aside));
}

TEST_F(TrashServiceTest, leavesWhateverAppearsUnderTheOldNameAfterTheClaim) {
  const ManagedTrashRecord record = scene.moved(photo);
  beforeCall("remove", 1, [&] { writeFile(scene.inTrash("PICT0001.JPG"), "somebody else's"); });
  EXPECT_EQ(permanentlyDelete(record).deleted, std::set{record.id});
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), "somebody else's");
}

TEST_F(TrashServiceTest, keepsAFileWhoseCopyInTheLibraryIsNotProven) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  const auto records = scene.move({photo, second}).records;
  const auto isOnlyTheSecondOne = [&](const ManagedTrashRecord& record, const CancellationToken&) {
    return record.fingerprint == second.sourceFingerprint;
  };
  EXPECT_EQ(scene.service.permanentlyDelete(records, isOnlyTheSecondOne, {}),
            (app::TrashDeleteResult{.deleted = {records.at(1).id}, .unproven = {"PICT0001.JPG"}}));
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), content);
}

TEST_F(TrashServiceTest, takesAProofThatFailsForNone) {
  const ManagedTrashRecord record = scene.moved(photo);
  const auto fails = [](const ManagedTrashRecord&, const CancellationToken&) -> bool { failWith(EIO); };
  EXPECT_EQ(scene.service.permanentlyDelete({record}, fails, {}),
            (app::TrashDeleteResult{.unproven = {"PICT0001.JPG"}}));
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashServiceTest, renamesBackWhenTheProofIsCancelled) {
  const ManagedTrashRecord record = scene.moved(photo);
  const auto isCancelled = [](const ManagedTrashRecord&, const CancellationToken&) -> bool {
    throw CancellationError();
  };
  EXPECT_EQ(scene.service.permanentlyDelete({record}, isCancelled, {}),
            (app::TrashDeleteResult{.cancelled = true}));
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashServiceTest, provesEachCopyDirectlyBeforeItsFileIsRemoved) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  const auto records = scene.move({photo, second}).records;
  std::string order;
  const auto proves = [&](const ManagedTrashRecord& record, const CancellationToken&) {
    order += "proof " + record.originalFilename + " ";
    return true;
  };
  scene.watched.before = [&](const std::string& call) {
    if (call == "renameExclusively" || call == "remove") {
      order += call + " ";
    }
  };
  EXPECT_EQ(scene.service.permanentlyDelete(records, proves, {}).deleted.size(), 2U);
  EXPECT_EQ(order,
            "renameExclusively proof PICT0001.JPG remove renameExclusively proof PICT0002.JPG remove ");
}

TEST_F(TrashServiceTest, deletesNothingThatTookTheNameDuringTheProof) {
  const ManagedTrashRecord record = scene.moved(photo);
  const auto replaces = [&](const ManagedTrashRecord&, const CancellationToken&) {
    const FileURL claimed = scene.inTrash(namesIn(scene.trash).at(0));
    renameFile(claimed, aside);
    writeFile(claimed, "another one");
    return true;
  };
  EXPECT_TRUE(scene.service.permanentlyDelete({record}, replaces, {}).deleted.empty());
  EXPECT_EQ(readFile(aside), content);
  EXPECT_EQ(namesIn(scene.trash).size(), 1U);
}

TEST_F(TrashServiceTest, renamesBackWhenCancelledBetweenClaimAndRemove) {
  const ManagedTrashRecord record = scene.moved(photo);
  CancellationSource source;
  std::size_t removals = 0;
  const TrashDeletionOperations real = TrashDeletionOperations::of(scene.watched);
  const TrashDeletionOperations operations{
      .claim =
          [&](const app::DirectoryDescriptor& directory, const std::string& name,
              const std::string& newName) {
            real.claim(directory, name, newName);
            source.cancel();
          },
      .remove = [&](const app::DirectoryDescriptor&, const std::string&) { ++removals; }};
  EXPECT_EQ(scene.service.permanentlyDelete({record}, operations, isProven, source.token()),
            (app::TrashDeleteResult{.cancelled = true}));
  EXPECT_EQ(removals, 0U);
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashServiceTest, looksForCancellationOnceMoreBeforeTheFileIsRemoved) {
  const ManagedTrashRecord record = scene.moved(photo);
  CancellationSource source;
  std::size_t statuses = 0;
  bool isClaimed = false;
  scene.watched.before = [&](const std::string& call) {
    isClaimed = isClaimed || call == "renameExclusively";
    // Of the opening, of the hash, and the last proof before the removal.
    if (isClaimed && call == "status" && ++statuses == 3) {
      source.cancel();
    }
  };
  EXPECT_EQ(permanentlyDelete(record, source.token()), (app::TrashDeleteResult{.cancelled = true}));
  EXPECT_EQ(statuses, 3U);
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashServiceTest, deletesNothingOnceItIsCancelled) {
  const ManagedTrashRecord record = scene.moved(photo);
  CancellationSource source;
  source.cancel();
  EXPECT_EQ(permanentlyDelete(record, source.token()), (app::TrashDeleteResult{.cancelled = true}));
  EXPECT_TRUE(exists(scene.inTrash("PICT0001.JPG")));
}

TEST_F(TrashServiceTest, renamesNothingBackWhenTheClaimFails) {
  const ManagedTrashRecord record = scene.moved(photo);
  std::size_t renames = 0;
  scene.watched.before = [&](const std::string& call) { renames += call == "renameExclusively" ? 1 : 0; };
  const TrashDeletionOperations operations{
      .claim = [](const app::DirectoryDescriptor&, const std::string&,
                  const std::string&) { failWith(EEXIST); },
      .remove = [](const app::DirectoryDescriptor&, const std::string&) { failWith(EIO); }};
  EXPECT_EQ(scene.service.permanentlyDelete({record}, operations, isProven, {}),
            (app::TrashDeleteResult{.failures = {"PICT0001.JPG"}}));
  EXPECT_EQ(renames, 0U);
  EXPECT_EQ(namesIn(scene.trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashServiceTest, claimsUnderANameThatNobodyCanKnow) {
  const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
  const auto records = scene.move({photo, second}).records;
  Names claimed;
  const TrashDeletionOperations operations{
      .claim =
          [&](const app::DirectoryDescriptor&, const std::string&, const std::string& newName) {
            claimed.push_back(newName);
            failWith(EIO);
          },
      .remove = [](const app::DirectoryDescriptor&, const std::string&) {}};
  scene.service.permanentlyDelete(records, operations, isProven, {});
  ASSERT_EQ(claimed.size(), 2U);
  const std::regex form("Tolvander-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.trash-item");
  EXPECT_TRUE(std::regex_match(claimed.at(0), form)) << claimed.at(0);
  EXPECT_TRUE(std::regex_match("Tolvander-6F1C0D3E-7B1A-4C52-9C39-1E1B7F6A2D10.trash-item", form));
  EXPECT_NE(claimed.at(0), claimed.at(1));
}

}  // namespace tolvander::tests
