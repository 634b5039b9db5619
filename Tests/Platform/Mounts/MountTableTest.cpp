#include "Platform/Linux/Mounts/MountTable.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/MountTables.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {
namespace {

using namespace tests;
using Strings = std::vector<std::string>;
using Numbers = std::vector<std::uint64_t>;

Numbers visibleIn(std::string_view text) {
  Numbers numbers;
  for (const Mount& mount : MountTable::parse(text).visible()) {
    numbers.push_back(mount.number);
  }
  return numbers;
}

Mount onlyMountOf(std::string_view line) {
  const MountTable table = MountTable::parse(line);
  EXPECT_EQ(table.mounts().size(), 1U) << line;
  return table.mounts().at(0);
}

std::string placeOf(std::string_view escaped) {
  return onlyMountOf("150 28 8:33 / " + std::string(escaped) + " rw - vfat /dev/sdc1 rw\n").place.path();
}

TEST(MountTable, hasEveryFieldOfALine) {
  const Mount mount =
      onlyMountOf("120 28 8:17 /sub /media/CARD rw,nosuid shared:70 master:3 - vfat /dev/sdb1 rw,tz=UTC\n");
  EXPECT_EQ(mount, (Mount{.number = 120,
                          .parent = 28,
                          .device = makedev(8, 17),
                          .root = "/sub",
                          .place = FileURL("/media/CARD"),
                          .fileSystem = "vfat",
                          .source = "/dev/sdb1",
                          .superOptions = ""}));
  EXPECT_EQ(mount.superOptions, "rw,tz=UTC");
}

TEST(MountTable, takesARemountForTheSameMount) {
  EXPECT_EQ(onlyMountOf("120 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"),
            onlyMountOf("120 28 8:17 / /media/CARD ro - vfat /dev/sdb1 ro\n"));
  EXPECT_NE(onlyMountOf("120 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"),
            onlyMountOf("121 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"));
}

TEST(MountTable, decodesOctalEscapes) {
  EXPECT_EQ(placeOf("/media/MY\\040CARD"), "/media/MY CARD");
  EXPECT_EQ(placeOf("/media/a\\011b\\012c\\134d"), "/media/a\tb\nc\\d");
  EXPECT_EQ(placeOf("/media/\\134040"), "/media/\\040");
  EXPECT_EQ(placeOf("/media/Gr\xC3\xBC\xC3\x9F"), "/media/Gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(placeOf("/media/\x90\xFF"), "/media/\x90\xFF");
  EXPECT_EQ(onlyMountOf("1 1 0:9 / /mnt rw - cifs //nas/my\\040photos rw\n").source, "//nas/my photos");
}

TEST(MountTable, keepsTheKernelsOrder) {
  const MountTable table = MountTable::parse(desktopMounts);
  Numbers numbers;
  std::ranges::transform(table.mounts(), std::back_inserter(numbers), &Mount::number);
  EXPECT_EQ(numbers, (Numbers{22, 23, 24, 25, 26, 28, 90, 95, 96, 120}));
  EXPECT_EQ(visibleIn(desktopMounts), numbers);
}

TEST(MountTable, findsAMountByItsNumber) {
  const MountTable table = MountTable::parse(desktopMounts);
  ASSERT_NE(table.withNumber(120), nullptr);
  EXPECT_EQ(table.withNumber(120)->place.path(), "/media/me/EOS_DIGITAL");
  EXPECT_EQ(table.withNumber(121), nullptr);
}

TEST(MountTable, leavesOutLinesThatCannotBeUnderstood) {
  EXPECT_EQ(visibleIn(""), Numbers());
  EXPECT_EQ(visibleIn("\n"), Numbers());
  EXPECT_EQ(visibleIn("no table at all"), Numbers());
  EXPECT_EQ(visibleIn("/dev/sda1 / ext4 rw 0 0\n"), Numbers()) << "a table of another kind";
  EXPECT_EQ(
      visibleIn("28 1 8:1 / / rw - ext4 /dev/sda1 rw\nrubbish\n29 28 8:2 / /a rw - ext4 /dev/sda2 rw\n"),
      (Numbers{28, 29}));
  EXPECT_EQ(visibleIn("28 1 8:1 / / rw - ext4 /dev/sda1 rw\n29 28 8:2 / /a rw - "), Numbers{28});
}

TEST(MountTable, showsOfSeveralMountsAtOnePlaceTheTopOne) {
  EXPECT_EQ(visibleIn("28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                      "40 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"
                      "41 40 8:33 / /media/CARD rw - vfat /dev/sdc1 rw\n"
                      "42 41 8:49 / /media/CARD rw - vfat /dev/sdd1 rw\n"),
            (Numbers{28, 42}));
}

TEST(MountTable, showsOfSeveralRootsTheTopOneWithWhatIsMountedOnIt) {
  EXPECT_EQ(visibleIn("1 1 0:2 / / rw - rootfs rootfs rw\n"
                      "28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                      "40 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"),
            (Numbers{28, 40}));
}

TEST(MountTable, hidesWhatIsBelowAFolderThatALaterMountCovers) {
  EXPECT_EQ(visibleIn("28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                      "40 28 8:17 / /media/me/CARD rw - vfat /dev/sdb1 rw\n"
                      "41 40 8:33 / /media/me/CARD/inner rw - vfat /dev/sdc1 rw\n"
                      "42 28 0:50 / /media rw - tmpfs tmpfs rw\n"),
            (Numbers{28, 42}));
}

TEST(MountTable, showsWhatIsMountedOnACoveringMount) {
  EXPECT_EQ(visibleIn("28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                      "40 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"
                      "42 28 0:50 / /media rw - tmpfs tmpfs rw\n"
                      "43 42 8:33 / /media/CARD rw - vfat /dev/sdc1 rw\n"),
            (Numbers{28, 42, 43}));
}

TEST(MountTable, hidesNothingByAMountWhoseNameOnlyBeginsTheSame) {
  EXPECT_EQ(visibleIn("28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                      "40 28 8:17 / /media/CARD\\0402 rw - vfat /dev/sdb1 rw\n"
                      "41 28 8:33 / /media/CARD rw - vfat /dev/sdc1 rw\n"),
            (Numbers{28, 40, 41}));
}

TEST(MountTable, showsMountsWhoseParentsAreOutOfSight) {
  EXPECT_EQ(visibleIn("40 7 0:9 / /proc rw - proc proc rw\n41 8 8:1 / /data rw - ext4 /dev/sda1 rw\n"),
            (Numbers{40, 41}));
}

TEST(MountTable, endsWhereNumbersGoInACircle) {
  EXPECT_EQ(visibleIn("2 3 8:1 / /a rw - ext4 /dev/sda1 rw\n3 2 8:2 / /a rw - ext4 /dev/sda2 rw\n"),
            Numbers());
  EXPECT_EQ(visibleIn("2 9 8:1 / / rw - ext4 /dev/sda1 rw\n2 2 8:2 / / rw - ext4 /dev/sda2 rw\n").size(), 1U);
}

TEST(Mount, isAShareOfAnotherMachine) {
  const MountTable table = MountTable::parse(networkMounts);
  ASSERT_EQ(table.mounts().size(), 4U);
  for (const Mount& mount : table.mounts()) {
    EXPECT_TRUE(mount.isNetwork()) << mount.fileSystem;
    EXPECT_FALSE(mount.isPseudo()) << mount.fileSystem;
    EXPECT_EQ(mount.blockDevice(), std::nullopt) << mount.fileSystem;
  }
}

TEST(Mount, isOfTheKernelsOwnOrOfADrive) {
  Strings pseudo;
  Strings drives;
  const MountTable table = MountTable::parse(desktopMounts);
  for (const Mount& mount : table.mounts()) {
    EXPECT_FALSE(mount.isNetwork()) << mount.fileSystem;
    (mount.isPseudo() ? pseudo : drives).push_back(mount.place.path());
  }
  EXPECT_EQ(pseudo,
            (Strings{"/proc", "/sys", "/dev", "/dev/pts", "/run", "/run/user/1000", "/run/user/1000/gvfs"}));
  EXPECT_EQ(drives, (Strings{"/", "/boot/efi", "/media/me/EOS_DIGITAL"}));
}

TEST(Mount, hasTheBlockDeviceOfItsNumber) {
  EXPECT_EQ(onlyMountOf("120 28 8:17 / /media/CARD rw - vfat /dev/missing rw\n").blockDevice(),
            makedev(8, 17));
  EXPECT_EQ(onlyMountOf("120 28 0:17 / /media/CARD rw - btrfs /dev/missing rw\n").blockDevice(),
            std::nullopt);
  EXPECT_EQ(onlyMountOf("120 28 0:17 / /media/CARD rw - fuse /dev/null rw\n").blockDevice(), std::nullopt)
      << "a device, but of characters";
}

class MountedForReal : public testing::TestWithParam<LoopVolume::Format> {};

TEST_P(MountedForReal, isListedWithItsBlockDevice) {
  for (const auto& reason : {reasonAgainstPrivateMounts(), LoopVolume::reasonAgainst(GetParam())}) {
    if (reason) {
      GTEST_SKIP() << *reason;
    }
  }
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CARD");
    struct stat device {};
    ASSERT_EQ(stat(volume.device().path().c_str(), &device), 0);
    const std::vector<Mount> visible = MountTable::read().visible();
    const auto mount = std::ranges::find(visible, volume.mountPoint(), &Mount::place);
    ASSERT_NE(mount, visible.end());
    EXPECT_EQ(mount->blockDevice(), device.st_rdev);
    EXPECT_EQ(mount->source, volume.device().path());
    EXPECT_FALSE(mount->isPseudo());
    EXPECT_FALSE(mount->isNetwork());
  });
}

INSTANTIATE_TEST_SUITE_P(, MountedForReal,
                         testing::Values(LoopVolume::Format::ext4, LoopVolume::Format::exfat),
                         [](const auto& format) {
                           return format.param == LoopVolume::Format::ext4 ? "ext4" : "exfat";
                         });

TEST(MountTable, showsExactlyWhatTheKernelFindsByThePath) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  inPrivateMountNamespace([] {
    const TemporaryFolder folder;
    const auto mountMemory = [&](const std::string& name) {
      std::filesystem::create_directories((folder / name).path());
      ASSERT_EQ(mount("tmpfs", (folder / name).path().c_str(), "tmpfs", 0, ""), 0);
    };
    mountMemory("a");
    mountMemory("a/b c");
    mountMemory("a/b c");
    mountMemory("d/e");
    mountMemory("d");
    mountMemory("d/f");
    Strings visible;
    for (const Mount& mount : MountTable::read().visible()) {
      struct statx status {};
      ASSERT_EQ(statx(AT_FDCWD, mount.place.path().c_str(), 0, STATX_MNT_ID, &status), 0)
          << mount.place.path();
      EXPECT_EQ(status.stx_mnt_id, mount.number) << mount.place.path();
      if (mount.place.isBelow(folder.url())) {
        visible.push_back(mount.place.path().substr(folder.url().path().size()));
      }
    }
    EXPECT_EQ(visible, (Strings{"/a", "/a/b c", "/d", "/d/f"}));
    for (const char* const name : {"d/f", "d", "d/e", "a/b c", "a/b c", "a"}) {
      umount((folder / name).path().c_str());
    }
  });
}

TEST(MountTable, failsWhereThereIsNoTable) {
  const TemporaryFolder folder;
  try {
    MountTable::read(folder / "missing");
    ADD_FAILURE();
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), ENOENT);
  }
}

}  // namespace
}  // namespace tolvander::platform::linux_
