#include "Platform/Linux/Trash/FreedesktopTrash.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "Tests/Support/Machine/UdevRecord.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

using Names = std::vector<std::string>;

std::string userText() { return std::to_string(geteuid()); }

mode_t modeOf(const FileURL& url) {
  struct stat status {};
  EXPECT_EQ(lstat(url.path().c_str(), &status), 0) << url.path();
  return status.st_mode & 07777U;
}

std::int64_t errorNumberOf(const std::function<void()>& operation) {
  try {
    operation();
    return 0;
  } catch (const PosixError& error) {
    return error.code();
  }
}

// The Trash of a folder that counts as a volume.
class FreedesktopTrash : public testing::Test {
 protected:
  FreedesktopTrash() {
    scene.watched.volumeUUID = [](const FileURL&) { return "VOLUME"; };
  }

  FileURL trashDirectory(bool create = true) { return scene.platform.trashDirectory(scene.volume, create); }
  FileURL inVolume(const std::string& path) const { return scene.volume.appending(path); }
  Names infos() const { return namesIn(scene.infoOf("").deletingLastPathComponent()); }

  app::TrashService::OpenDirectory open(const FileURL& url) const { return scene.service.openDirectory(url); }
  std::optional<FileURL> trashItem(const std::string& name) {
    const auto trash = open(trashDirectory());
    return scene.platform.trashItem(open(scene.camera).descriptor(), name, trash.descriptor());
  }
  void rename(const FileURL& from, const FileURL& to) {
    scene.platform.renameExclusively(
        open(from.deletingLastPathComponent()).descriptor(), std::string(from.lastPathComponent()),
        open(to.deletingLastPathComponent()).descriptor(), std::string(to.lastPathComponent()));
  }

  TemporaryFolder folder;
  TrashScene scene{folder / "volume"};
  FingerprintedMediaFile photo = scene.addPhoto("PICT0001.JPG", "a photo");
};

}  // namespace

// Where the Trash is

TEST_F(FreedesktopTrash, isMadeForThisUserAlone) {
  EXPECT_EQ(trashDirectory(), inVolume(".Trash-" + userText() + "/files"));
  for (const char* part : {"", "/files", "/info"}) {
    EXPECT_EQ(modeOf(inVolume(".Trash-" + userText() + part)), 0700U) << part;
  }
}

TEST_F(FreedesktopTrash, isNotMadeUnasked) {
  EXPECT_EQ(errorNumberOf([&] { trashDirectory(false); }), ENOENT);
  EXPECT_FALSE(exists(inVolume(".Trash-" + userText())));
}

TEST_F(FreedesktopTrash, isTheOneThatThereIs) {
  trashDirectory();
  EXPECT_EQ(trashDirectory(false), scene.trash);
  EXPECT_EQ(scene.platform.trashDirectory(scene.trash, false), scene.trash);
  EXPECT_EQ(scene.platform.trashDirectory(scene.inTrash("folder"), false), scene.trash);
}

TEST_F(FreedesktopTrash, liesInTheAdministratorsFolderWhereItHasTheStickyBit) {
  std::filesystem::create_directory(inVolume(".Trash").path());
  ASSERT_EQ(chmod(inVolume(".Trash").path().c_str(), 01777), 0);
  const FileURL expected = inVolume(".Trash/" + userText() + "/files");
  EXPECT_EQ(trashDirectory(), expected);
  EXPECT_EQ(modeOf(inVolume(".Trash/" + userText())), 0700U);
  EXPECT_EQ(scene.platform.trashDirectory(expected, false), expected);

  const ManagedTrashRecord record = scene.moved(photo);
  EXPECT_EQ(record.trashedPath, expected.appending("PICT0001.JPG").path());
  EXPECT_NE(readFile(inVolume(".Trash/" + userText() + "/info/PICT0001.JPG.trashinfo"))
                .find("Path=DCIM/100CHRM/PICT0001.JPG\n"),
            std::string::npos);
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).restored.size(), 1U);
}

TEST_F(FreedesktopTrash, keepsOutOfAnAdministratorsFolderWithoutTheStickyBit) {
  std::filesystem::create_directory(inVolume(".Trash").path());
  ASSERT_EQ(chmod(inVolume(".Trash").path().c_str(), 0777), 0);
  EXPECT_EQ(trashDirectory(), scene.trash);
  EXPECT_TRUE(namesIn(inVolume(".Trash")).empty());
}

TEST_F(FreedesktopTrash, keepsOutOfAnAdministratorsFolderThatIsALink) {
  std::filesystem::create_directory((folder / "sticky").path());
  ASSERT_EQ(chmod((folder / "sticky").path().c_str(), 01777), 0);
  std::filesystem::create_directory_symlink((folder / "sticky").path(), inVolume(".Trash").path());
  EXPECT_EQ(trashDirectory(), scene.trash);
  EXPECT_TRUE(namesIn(folder / "sticky").empty());
}

TEST_F(FreedesktopTrash, isNoneWhereALinkHasItsName) {
  std::filesystem::create_directories((folder / "elsewhere/files").path());
  std::filesystem::create_directories((folder / "elsewhere/info").path());
  std::filesystem::create_directory_symlink((folder / "elsewhere").path(),
                                            inVolume(".Trash-" + userText()).path());
  EXPECT_EQ(errorNumberOf([&] { trashDirectory(); }), EPERM);
  EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(photo.file.url));
  EXPECT_TRUE(namesIn(folder / "elsewhere/files").empty());
}

TEST_F(FreedesktopTrash, isNoneWhereAPartOfItIsALink) {
  for (const char* part : {"files", "info"}) {
    std::filesystem::create_directories((folder / "elsewhere").path());
    const FileURL trash = inVolume(".Trash-" + userText());
    std::filesystem::create_directory(trash.path());
    std::filesystem::create_directory_symlink((folder / "elsewhere").path(), trash.appending(part).path());
    EXPECT_EQ(errorNumberOf([&] { trashDirectory(); }), EPERM);
    EXPECT_TRUE(namesIn(folder / "elsewhere").empty());
    std::filesystem::remove_all(trash.path());
  }
}

TEST_F(FreedesktopTrash, isNoneWhereItBelongsToSomebodyElse) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "giving files away needs root";
  }
  trashDirectory();
  ASSERT_EQ(chown(inVolume(".Trash-0").path().c_str(), 12'345, 12'345), 0);
  EXPECT_EQ(errorNumberOf([&] { trashDirectory(); }), EPERM);
  EXPECT_EQ(errorNumberOf([&] { scene.platform.trashDirectory(scene.trash, false); }), EPERM);
  EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
  EXPECT_TRUE(exists(photo.file.url));
}

TEST_F(FreedesktopTrash, isNoneWhereTheUserMayNotWrite) {
  ASSERT_EQ(chmod(scene.volume.path().c_str(), 0555), 0);
  ASSERT_EQ(chmod(folder.url().path().c_str(), 0755), 0);
  const OtherUser other;
  EXPECT_EQ(errorNumberOf([&] { trashDirectory(); }), EACCES);
}

// What it does with an item and its info file

TEST_F(FreedesktopTrash, keepsBesideAnItemWhereItCameFrom) {
  EXPECT_EQ(trashItem("PICT0001.JPG"), scene.inTrash("PICT0001.JPG"));
  const std::string info = readFile(scene.infoOf("PICT0001.JPG"));
  EXPECT_TRUE(info.starts_with("[Trash Info]\nPath=DCIM/100CHRM/PICT0001.JPG\nDeletionDate=20")) << info;
  EXPECT_EQ(modeOf(scene.infoOf("PICT0001.JPG")), 0600U);
}

TEST_F(FreedesktopTrash, givesItemsOfOneNameDifferentNames) {
  for (const std::string expected : {"PICT0001.JPG", "PICT0001.2.JPG", "PICT0001.3.JPG"}) {
    writeFile(photo.file.url, expected);
    EXPECT_EQ(trashItem("PICT0001.JPG"), scene.inTrash(expected));
    EXPECT_EQ(readFile(scene.inTrash(expected)), expected);
  }
  EXPECT_EQ(infos(),
            (Names{"PICT0001.2.JPG.trashinfo", "PICT0001.3.JPG.trashinfo", "PICT0001.JPG.trashinfo"}));
}

TEST_F(FreedesktopTrash, passesOverANameThatOnlyAnInfoFileOrOnlyAnItemHas) {
  trashDirectory();
  writeFile(scene.infoOf("PICT0001.JPG"), "[Trash Info]\nPath=PICT0001.JPG\n");
  writeFile(scene.inTrash("PICT0001.2.JPG"), "an item without info");
  EXPECT_EQ(trashItem("PICT0001.JPG"), scene.inTrash("PICT0001.3.JPG"));
  EXPECT_EQ(readFile(scene.inTrash("PICT0001.2.JPG")), "an item without info");
  EXPECT_EQ(infos(), (Names{"PICT0001.3.JPG.trashinfo", "PICT0001.JPG.trashinfo"}));
}

TEST_F(FreedesktopTrash, leavesNoInfoFileOfAnItemThatCouldNotBeMoved) {
  EXPECT_EQ(errorNumberOf([&] { trashItem("MISSING.JPG"); }), ENOENT);
  EXPECT_TRUE(infos().empty());
}

TEST_F(FreedesktopTrash, takesTheInfoFileAlongWithAName) {
  trashItem("PICT0001.JPG");
  rename(scene.inTrash("PICT0001.JPG"), scene.inTrash("claimed"));
  EXPECT_EQ(infos(), Names{"claimed.trashinfo"});
  rename(scene.inTrash("claimed"), scene.inTrash("PICT0001.JPG"));
  EXPECT_EQ(infos(), Names{"PICT0001.JPG.trashinfo"});
}

TEST_F(FreedesktopTrash, leavesTheInfoFileWhereANameIsTaken) {
  trashItem("PICT0001.JPG");
  writeFile(scene.inTrash("taken"), "");
  EXPECT_EQ(errorNumberOf([&] { rename(scene.inTrash("PICT0001.JPG"), scene.inTrash("taken")); }), EEXIST);
  EXPECT_EQ(infos(), Names{"PICT0001.JPG.trashinfo"});
}

TEST_F(FreedesktopTrash, renamesAnItemThatHasNoInfoFile) {
  trashDirectory();
  writeFile(scene.inTrash("orphan"), "");
  rename(scene.inTrash("orphan"), scene.inTrash("claimed"));
  EXPECT_EQ(namesIn(scene.trash), Names{"claimed"});
  EXPECT_TRUE(infos().empty());
}

TEST_F(FreedesktopTrash, keepsNoInfoFileOfAnItemThatHasLeft) {
  trashItem("PICT0001.JPG");
  rename(scene.inTrash("PICT0001.JPG"), photo.file.url);
  EXPECT_TRUE(infos().empty());
  EXPECT_EQ(readFile(photo.file.url), "a photo");
}

TEST_F(FreedesktopTrash, keepsTheInfoFileOfAnItemThatCouldNotLeave) {
  trashItem("PICT0001.JPG");
  writeFile(photo.file.url, "taken");
  EXPECT_EQ(errorNumberOf([&] { rename(scene.inTrash("PICT0001.JPG"), photo.file.url); }), EEXIST);
  EXPECT_EQ(infos(), Names{"PICT0001.JPG.trashinfo"});
  EXPECT_EQ(readFile(photo.file.url), "taken");
}

TEST_F(FreedesktopTrash, keepsNoInfoFileOfAnItemThatWasRemoved) {
  trashItem("PICT0001.JPG");
  scene.platform.remove(open(scene.trash).descriptor(), "PICT0001.JPG");
  EXPECT_TRUE(namesIn(scene.trash).empty());
  EXPECT_TRUE(infos().empty());
}

TEST_F(FreedesktopTrash, makesAnInfoFileForWhatIsPutIntoIt) {
  trashDirectory();
  rename(photo.file.url, scene.inTrash("PICT0001.JPG"));
  EXPECT_EQ(infos(), Names{"PICT0001.JPG.trashinfo"});
}

TEST_F(FreedesktopTrash, removesNothingButInfoFilesFromItsInfoFolder) {
  trashItem("PICT0001.JPG");
  writeFile(scene.infoOf("PICT0001.JPG"), "a photo with this name");
  scene.platform.remove(open(scene.trash).descriptor(), "PICT0001.JPG");
  EXPECT_EQ(infos(), Names{"PICT0001.JPG.trashinfo"});
}

TEST_F(FreedesktopTrash, tellsWhereItsItemsCameFrom) {
  ASSERT_TRUE(trashItem("PICT0001.JPG"));
  writeFile(scene.infoOf("gone.JPG"), "[Trash Info]\nPath=a%20b/../c\nDeletionDate=2026-11-22T05:49:01\n");
  writeFile(scene.infoOf("damaged"), "[Trash Info]\nPath=a\n");
  writeFile(scene.infoOf("large"), "[Trash Info]\nPath=" + std::string(70'000, 'a') + "\n");
  writeFile(scene.infoOf("").deletingLastPathComponent().appending("picture.JPG"), "no info file");
  std::filesystem::create_symlink(scene.infoOf("gone.JPG").path(), scene.infoOf("link").path());
  std::filesystem::create_directory(scene.infoOf("folder").path());
  ASSERT_EQ(mkfifo(scene.infoOf("pipe").path().c_str(), 0600), 0);

  auto items = scene.platform.trashedItems(open(trashDirectory()).descriptor());
  std::ranges::sort(items, {}, &app::TrashedItem::name);
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].name, "PICT0001.JPG");
  EXPECT_EQ(items[0].original, scene.camera.appending("PICT0001.JPG"));
  const auto age = std::chrono::system_clock::now() - items[0].trashedAt;
  EXPECT_TRUE(age >= std::chrono::seconds(0) && age < std::chrono::minutes(5));
  EXPECT_EQ(items[1].name, "gone.JPG");
  EXPECT_EQ(items[1].original, inVolume("c"));
}

// A clock that lags behind gives itself away just after a second has begun.
TEST_F(FreedesktopTrash, datesNoItemBeforeTheSecondInWhichItCame) {
  using std::chrono::floor;
  using std::chrono::seconds;
  using std::chrono::system_clock;
  const TemporaryFolder memory = TemporaryFolder::inMemory();  // a disk would take longer than the clock lags
  TrashScene fast(memory / "volume");
  fast.addPhoto("PICT0001.JPG", "a photo");
  const auto trash = open(fast.platform.trashDirectory(fast.volume, true));
  const auto camera = open(fast.camera);
  const auto second = floor<seconds>(system_clock::now()) + seconds(1);
  while (system_clock::now() < second) {
  }
  ASSERT_TRUE(fast.platform.trashItem(camera.descriptor(), "PICT0001.JPG", trash.descriptor()));
  const auto items = fast.platform.trashedItems(trash.descriptor());
  ASSERT_EQ(items.size(), 1U);
  EXPECT_GE(items.front().trashedAt, second);
}

TEST_F(FreedesktopTrash, tellsNothingOfItsItemsWhereItCanNotBeRead) {
  const auto folderOfPhotos = open(scene.camera);
  EXPECT_EQ(errorNumberOf([&] { scene.platform.trashedItems(folderOfPhotos.descriptor()); }), EPERM);
}

TEST_F(FreedesktopTrash, isNotFoundInAFolderThatOnlyLooksLikeIt) {
  writeFile(inVolume("files/PICT0001.JPG"), "");
  std::filesystem::create_directories(inVolume("info").path());
  const auto camera = open(scene.camera);
  const auto lookalike = open(inVolume("files"));
  EXPECT_EQ(errorNumberOf([&] {
              scene.platform.trashItem(camera.descriptor(), "PICT0001.JPG", lookalike.descriptor());
            }),
            EPERM);
  EXPECT_TRUE(exists(photo.file.url));
}

TEST_F(FreedesktopTrash, renamesOutsideOfItWithoutReplacing) {
  writeFile(inVolume("b"), "b");
  EXPECT_EQ(errorNumberOf([&] { rename(photo.file.url, inVolume("b")); }), EEXIST);
  rename(photo.file.url, inVolume("c"));
  EXPECT_EQ(readFile(inVolume("c")), "a photo");
  EXPECT_EQ(readFile(inVolume("b")), "b");
}

TEST_F(FreedesktopTrash, ofAFolderNeverLeavesThatFolder) {
  scene.watched.volumeUUID = nullptr;
  if (!scene.platform.volumeUUIDString(scene.camera)) {
    GTEST_SKIP() << "the file system of temporary files has no stable identifier";
  }
  const ManagedTrashRecord record = scene.moved(photo);
  EXPECT_EQ(namesIn(folder.url()), Names{"volume"});
  EXPECT_EQ(record.trashedPath, scene.inTrash("PICT0001.JPG").path());
  EXPECT_EQ(scene.service.availableRecords({record}).size(), 1U);
  EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).restored.size(), 1U);
  EXPECT_EQ(readFile(photo.file.url), "a photo");
  const ManagedTrashRecord again = scene.moved(photo);
  EXPECT_EQ(scene.service.permanentlyDelete({again}, isProven, {}).deleted.size(), 1U);
  EXPECT_TRUE(namesIn(scene.trash).empty());
}

// On real volumes

namespace {

// A mounted volume that has a UUID, with its own mounts and udev database.
class MountedTrash : public testing::TestWithParam<LoopVolume::Format> {
 protected:
  void SetUp() override {
    for (const auto& reason : {reasonAgainstPrivateMounts(), LoopVolume::reasonAgainst(GetParam())}) {
      if (reason) {
        GTEST_SKIP() << *reason;
      }
    }
  }

  void withVolume(const std::function<void(LoopVolume&, TrashScene&)>& body) {
    inPrivateMountNamespace([&] {
      LoopVolume volume(GetParam(), "CHARMERA");
      writeUdevRecord(volume.device(), "E:ID_FS_UUID=1234-ABCD\n");
      TrashScene scene(volume.mountPoint());
      body(volume, scene);
    });
  }
};

using TrashOnExt4 = MountedTrash;
using TrashOnExFAT = MountedTrash;

constexpr auto formatName = [](const auto& tested) {
  return tested.param == LoopVolume::Format::ext4 ? "ext4" : "exfat";
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Volumes, MountedTrash,
                         testing::Values(LoopVolume::Format::ext4, LoopVolume::Format::exfat), formatName);
INSTANTIATE_TEST_SUITE_P(Volumes, TrashOnExt4, testing::Values(LoopVolume::Format::ext4), formatName);
INSTANTIATE_TEST_SUITE_P(Volumes, TrashOnExFAT, testing::Values(LoopVolume::Format::exfat), formatName);

TEST_P(MountedTrash, knowsEveryFolderByTheVolumesUUID) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    EXPECT_EQ(scene.platform.volumeUUIDString(volume.mountPoint()), "1234-ABCD");
    EXPECT_EQ(scene.platform.volumeUUIDString(scene.camera), "1234-ABCD");
    EXPECT_NE(scene.platform.volumeUUIDString(volume.mountPoint().deletingLastPathComponent()), "1234-ABCD");
    ASSERT_EQ(mount("tmpfs", scene.camera.path().c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_EQ(scene.platform.volumeUUIDString(scene.camera), std::nullopt);
    umount2(scene.camera.path().c_str(), MNT_DETACH);
  });
}

TEST_P(MountedTrash, knowsAFileAgainAfterARemount) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    for (int number = 0; number < 20; ++number) {
      scene.addPhoto("PICT" + std::to_string(number) + ".JPG", "photo " + std::to_string(number));
    }
    const FileURL photo = scene.camera.appending("PICT7.JPG");
    const auto before = scene.service.openFile(photo, scene.volume).identity();
    renameFile(photo, volume.mountPoint().appending("renamed"));
    volume.remount();
    const auto after =
        scene.service.openFile(volume.mountPoint().appending("renamed"), scene.volume).identity();
    EXPECT_EQ(before, after);
  });
}

TEST_P(MountedTrash, knowsAnotherFileOfTheSameNameApartAfterARemount) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    const FileURL photo = scene.camera.appending("PICT0001.JPG");
    const auto modified = dateSince1970(1'700'000'000).value();
    scene.addPhoto("PICT0001.JPG", "one photo");
    setContentModificationDate(photo, modified);
    volume.remount();
    const auto before = scene.service.openFile(photo, scene.volume).identity();
    renameFile(photo, volume.mountPoint().appending("aside"));
    scene.addPhoto("PICT0001.JPG", "two photo");  // as large, and as old
    setContentModificationDate(photo, modified);
    volume.remount();
    EXPECT_NE(scene.service.openFile(photo, scene.volume).identity(), before);
  });
}

TEST_P(TrashOnExt4, movesRestoresAndDeletesAcrossRemounts) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    const auto first = scene.addPhoto("PICT0001.JPG", "a photo");
    const auto second = scene.addPhoto("PICT0002.JPG", "another photo");
    const auto records = scene.move({first, second}).records;
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records.front().identity->volumeIdentifier, "1234-ABCD");
    volume.remount();
    EXPECT_EQ(scene.service.availableRecords(records), records);
    EXPECT_EQ(scene.service.restoreToOriginalLocations({records.at(0)}).restored, std::set{records.at(0).id});
    volume.remount();
    EXPECT_EQ(readFile(first.file.url), "a photo");
    EXPECT_EQ(scene.service.permanentlyDelete({records.at(1)}, isProven, {}).deleted,
              std::set{records.at(1).id});
    volume.remount();
    EXPECT_TRUE(namesIn(scene.trash).empty());
    EXPECT_TRUE(namesIn(scene.infoOf("").deletingLastPathComponent()).empty());
  });
}

TEST_P(TrashOnExt4, keepsOutOfTheTrashOfAnUnpluggedVolume) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    const ManagedTrashRecord record = scene.moved(scene.addPhoto("PICT0001.JPG", "a photo"));
    volume.unplug();
    EXPECT_TRUE(scene.service.availableRecords({record}).empty());
    EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).failures.size(), 1U);
    EXPECT_EQ(scene.service.permanentlyDelete({record}, isProven, {}).failures.size(), 1U);
    EXPECT_TRUE(namesIn(volume.mountPoint()).empty());
  });
}

TEST_P(TrashOnExt4, neverLeavesTheVolumeForAnotherOneThatIsMountedInIt) {
  withVolume([](LoopVolume&, TrashScene& scene) {
    const auto photo = scene.addPhoto("PICT0001.JPG", "a photo");
    const FileURL top = scene.volume.appending(".Trash-0");
    std::filesystem::create_directory(top.path());
    ASSERT_EQ(mount("tmpfs", top.path().c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
    EXPECT_EQ(readFile(photo.file.url), "a photo");
    EXPECT_TRUE(namesIn(scene.trash).empty());
    umount2(top.path().c_str(), MNT_DETACH);
    // A second view of the same volume has the same UUID, and only the kernel tells it apart.
    const FileURL view = scene.volume.appending("view");
    std::filesystem::create_directory(view.path());
    ASSERT_EQ(mount(view.path().c_str(), top.path().c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
    EXPECT_EQ(readFile(photo.file.url), "a photo");
    umount2(top.path().c_str(), MNT_DETACH);
  });
}

namespace {

// exfat-fuse does with libfuse 3, and doesn't with libfuse 2.
bool renamesWithoutReplacing(const FileURL& folder) {
  const FileURL file = folder.appending("renamed or not");
  const FileURL renamed = folder.appending("renamed");
  writeFile(file, "");
  const bool isRenamed =
      renameat2(AT_FDCWD, file.path().c_str(), AT_FDCWD, renamed.path().c_str(), RENAME_NOREPLACE) == 0;
  std::filesystem::remove((isRenamed ? renamed : file).path());
  return isRenamed;
}

}  // namespace

TEST_P(TrashOnExFAT, movesAndRestoresTheFileOrRefusesClearlyAndKeepsIt) {
  withVolume([](LoopVolume&, TrashScene& scene) {
    const auto photo = scene.addPhoto("PICT0001.JPG", "a photo");
    if (renamesWithoutReplacing(scene.volume)) {
      const ManagedTrashRecord record = scene.moved(photo);
      EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), "a photo");
      EXPECT_FALSE(exists(photo.file.url));
      EXPECT_TRUE(scene.service.restoreToOriginalLocations({record}).failures.empty());
      EXPECT_EQ(readFile(photo.file.url), "a photo");
      return;
    }
    EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
    EXPECT_TRUE(scene.move({photo}).recoveryPaths.empty());
    EXPECT_EQ(readFile(photo.file.url), "a photo");
    EXPECT_TRUE(namesIn(scene.trash).empty());
    EXPECT_TRUE(namesIn(scene.infoOf("").deletingLastPathComponent()).empty());
    const auto camera = scene.service.openDirectory(scene.camera);
    const auto trash = scene.service.openDirectory(scene.trash);
    EXPECT_EQ(errorNumberOf(
                  [&] { scene.platform.trashItem(camera.descriptor(), "PICT0001.JPG", trash.descriptor()); }),
              EINVAL);
  });
}

TEST_P(TrashOnExFAT, restoresAndDeletesNothingWhereItCouldNotMove) {
  withVolume([](LoopVolume&, TrashScene& scene) {
    if (renamesWithoutReplacing(scene.volume)) {
      const ManagedTrashRecord record = scene.moved(scene.addPhoto("PICT0001.JPG", "a photo"));
      EXPECT_TRUE(scene.service.permanentlyDelete({record}, isProven, {}).failures.empty());
      EXPECT_FALSE(exists(scene.inTrash("PICT0001.JPG")));
      return;
    }
    const auto photo = scene.addPhoto("PICT0001.JPG", "a photo");
    scene.platform.trashDirectory(scene.volume, true);
    renameFile(photo.file.url, scene.inTrash("PICT0001.JPG"));
    ManagedTrashRecord record;
    record.trashedPath = scene.inTrash("PICT0001.JPG").path();
    record.originalFilename = "PICT0001.JPG";
    record.fingerprint = photo.sourceFingerprint;
    record.originalPath = photo.file.url.path();
    record.trashDirectoryPath = scene.trash.path();
    record.identity = scene.service.openFile(scene.inTrash("PICT0001.JPG"), scene.trash).identity();
    record.photosAssetIdentifier = "asset";
    ASSERT_EQ(scene.service.availableRecords({record}).size(), 1U);
    EXPECT_EQ(scene.service.restoreToOriginalLocations({record}).failures, Names{"PICT0001.JPG"});
    EXPECT_EQ(scene.service.permanentlyDelete({record}, isProven, {}).failures, Names{"PICT0001.JPG"});
    EXPECT_EQ(readFile(scene.inTrash("PICT0001.JPG")), "a photo");
  });
}

TEST(VolumeWithoutUUID, isNeverManaged) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  inPrivateMountNamespace([] {
    const TemporaryFolder folder;
    ASSERT_EQ(mount("tmpfs", folder.url().path().c_str(), "tmpfs", 0, "size=1m"), 0);
    TrashScene scene(folder.url());
    EXPECT_EQ(scene.platform.volumeUUIDString(folder.url()), std::nullopt);
    const auto photo = scene.addPhoto("PICT0001.JPG", "a photo");
    EXPECT_EQ(scene.move({photo}).failures, Names{"PICT0001.JPG"});
    EXPECT_EQ(readFile(photo.file.url), "a photo");
    EXPECT_FALSE(exists(scene.trash));
    umount2(folder.url().path().c_str(), MNT_DETACH);
  });
}

// What the user's own tools make of it

namespace {

// Runs one of the user's tools in a world that has this volume alone and a home without a Trash: left to
// themselves they change every Trash on the machine that is the user's.
ToolResult runTrashTool(const LoopVolume& volume, const std::string& command) {
  const TemporaryFolder home;
  EXPECT_EQ(mount("tmpfs", "/proc", "tmpfs", 0, "size=1m"), 0);
  const std::string mounts = volume.device().path() + " " + volume.mountPoint().path() + " ext4 rw 0 0\n";
  std::filesystem::create_directory("/proc/self");
  writeFile(FileURL("/proc/mounts"), mounts);
  writeFile(FileURL("/proc/self/mounts"), mounts);
  writeFile(FileURL("/proc/filesystems"), "\text4\n");
  ToolResult result = runTool(
      {"env", "HOME=" + home.url().path(), "XDG_DATA_HOME=" + home.url().path(), "sh", "-c", command});
  EXPECT_EQ(umount2("/proc", MNT_DETACH), 0);
  return result;
}

class TrashTools : public MountedTrash {
 protected:
  void SetUp() override {
    MountedTrash::SetUp();
    if (!toolExists("trash-list") || !toolExists("trash-restore") || !toolExists("trash-empty")) {
      GTEST_SKIP() << "trash-cli is not installed";
    }
  }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Volumes, TrashTools, testing::Values(LoopVolume::Format::ext4), formatName);

TEST_P(TrashTools, showTheMovedFilesWithWhereTheyCameFrom) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    const auto first = scene.addPhoto("PICT0001.JPG", "a photo");
    const auto second = scene.addPhoto("100 % \xC3\xA4.JPG", "another photo");
    ASSERT_EQ(scene.move({first, second}).records.size(), 2U);
    const ToolResult result = runTrashTool(volume, "trash-list");
    EXPECT_NE(result.output.find(" " + first.file.url.path() + "\n"), std::string::npos)
        << result.output << result.errors;
    EXPECT_NE(result.output.find(" " + second.file.url.path() + "\n"), std::string::npos) << result.output;
  });
}

TEST_P(TrashTools, emptyWhatWasMoved) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    const ManagedTrashRecord record = scene.moved(scene.addPhoto("PICT0001.JPG", "a photo"));
    const ToolResult result = runTrashTool(volume, "trash-empty");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(namesIn(scene.trash).empty());
    EXPECT_TRUE(namesIn(scene.infoOf("").deletingLastPathComponent()).empty());
    EXPECT_TRUE(scene.service.availableRecords({record}).empty());
  });
}

TEST_P(TrashTools, restoreWhatWasMoved) {
  withVolume([](LoopVolume& volume, TrashScene& scene) {
    const auto photo = scene.addPhoto("PICT0001.JPG", "a photo");
    scene.moved(photo);
    const ToolResult result = runTrashTool(volume, "echo 0 | trash-restore '" + photo.file.url.path() + "'");
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
    EXPECT_TRUE(exists(photo.file.url)) << result.output << result.errors;
    EXPECT_TRUE(namesIn(scene.trash).empty());
  });
}

}  // namespace tolvander::tests
