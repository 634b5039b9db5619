#include "TolvanderCore/Platform/Volume.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/UdevRecord.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::tests {

namespace {

void makeFolder(const FileURL& url) { std::filesystem::create_directories(url.path()); }

std::int64_t failureOf(const FileURL& url) {
  try {
    volumeResourceValues(url);
    return 0;
  } catch (const PosixError& error) {
    return error.code();
  }
}

void mountMemory(const FileURL& folder) {
  ASSERT_EQ(mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=1m"), 0);
}

void bindMount(const FileURL& folder, const FileURL& place) {
  ASSERT_EQ(mount(folder.path().c_str(), place.path().c_str(), nullptr, MS_BIND, nullptr), 0);
}

dev_t numberOf(const FileURL& device) {
  struct stat status {};
  EXPECT_EQ(stat(device.path().c_str(), &status), 0);
  return status.st_rdev;
}

// A /dev with one block device and udev's links to it.
void makeDeviceLinks(const FileURL& device, const std::string& label, const std::string& uuid) {
  const dev_t number = numberOf(device);
  mountMemory(FileURL("/dev"));
  ASSERT_EQ(mknod(device.path().c_str(), S_IFBLK | 0600, number), 0);
  const auto link = [&](const std::string& folder, const std::string& name) {
    makeFolder(FileURL("/dev/disk/" + folder));
    std::filesystem::create_symlink("/dev/null", "/dev/disk/" + folder + "/another");
    std::filesystem::create_symlink("../.." + device.path().substr(4), "/dev/disk/" + folder + "/" + name);
  };
  link("by-label", label);
  link("by-uuid", uuid);
}

class MountedVolume : public testing::TestWithParam<LoopVolume::Format> {
 protected:
  void SetUp() override {
    for (const auto& reason : {reasonAgainstPrivateMounts(), LoopVolume::reasonAgainst(GetParam())}) {
      if (reason) {
        GTEST_SKIP() << *reason;
      }
    }
  }
};

class PrivateMounts : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = reasonAgainstPrivateMounts()) {
      GTEST_SKIP() << *reason;
    }
  }
};

}  // namespace

TEST(FolderAsVolume, hasTheFoldersName) {
  const TemporaryFolder folder;
  makeFolder(folder / "My Camera");
  EXPECT_EQ(volumeResourceValues(folder / "My Camera").name, "My Camera");
  EXPECT_EQ(volumeResourceValues(FileURL((folder / "My Camera").path() + "/")).name, "My Camera");
}

TEST(FolderAsVolume, hasAUUIDOfVersionEight) {
  const TemporaryFolder folder;
  const auto text = volumeResourceValues(folder.url()).uuid;
  ASSERT_TRUE(text);
  const auto uuid = UUID::fromText(*text);
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->text(), *text);
  EXPECT_EQ(uuid->bytes[6] >> 4U, 8U);
  EXPECT_EQ(uuid->bytes[8] >> 6U, 2U);
}

TEST(FolderAsVolume, hasTheSameValuesEachTimeAndHoweverItIsSpelt) {
  const TemporaryFolder folder;
  makeFolder(folder / "camera/DCIM");
  std::filesystem::create_symlink("camera", (folder / "link").path());
  const VolumeResourceValues values = volumeResourceValues(folder / "camera");
  writeFile(folder / "camera/new", "");
  EXPECT_EQ(volumeResourceValues(folder / "camera"), values);
  EXPECT_EQ(volumeResourceValues(folder / "camera/DCIM/.."), values);
  EXPECT_EQ(volumeResourceValues(folder / "link"), values);
}

TEST(FolderAsVolume, hasAnotherUUIDThanEveryOtherFolder) {
  const TemporaryFolder folder;
  makeFolder(folder / "a/camera");
  makeFolder(folder / "b/camera");
  const auto first = volumeResourceValues(folder / "a/camera").uuid;
  EXPECT_NE(first, volumeResourceValues(folder / "b/camera").uuid);
  EXPECT_NE(first, volumeResourceValues(folder / "a").uuid);
}

TEST(FolderAsVolume, failsWhereThereIsNoFolder) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  std::filesystem::create_symlink("nowhere", (folder / "broken").path());
  std::filesystem::create_symlink("loop", (folder / "loop").path());
  EXPECT_EQ(failureOf(folder / "missing"), ENOENT);
  EXPECT_EQ(failureOf(folder / "broken"), ENOENT);
  EXPECT_EQ(failureOf(folder / "file"), ENOTDIR);
  EXPECT_EQ(failureOf(folder / "loop"), ELOOP);
}

TEST_F(PrivateMounts, inMemoryHaveNeitherNameNorUUID) {
  inPrivateMountNamespace([] {
    const TemporaryFolder folder;
    makeFolder(folder / "with space");
    mountMemory(folder / "with space");
    EXPECT_EQ(volumeResourceValues(folder / "with space"), VolumeResourceValues());
    umount((folder / "with space").path().c_str());
    EXPECT_EQ(volumeResourceValues(folder / "with space").name, "with space");
  });
}

TEST_F(PrivateMounts, makeAFolderInsideThemAnotherVolumeThanTheSamePathOutside) {
  inPrivateMountNamespace([] {
    const TemporaryFolder folder;
    makeFolder(folder / "mount/camera");
    const VolumeResourceValues outside = volumeResourceValues(folder / "mount/camera");
    mountMemory(folder / "mount");
    makeFolder(folder / "mount/camera");
    const VolumeResourceValues inside = volumeResourceValues(folder / "mount/camera");
    EXPECT_EQ(inside.name, "camera");
    EXPECT_NE(inside.uuid, outside.uuid);
    umount((folder / "mount").path().c_str());
  });
}

TEST_F(PrivateMounts, hideTheMountsBelowThem) {
  inPrivateMountNamespace([] {
    const TemporaryFolder folder;
    makeFolder(folder / "mount/camera");
    mountMemory(folder / "mount/camera");
    mountMemory(folder / "mount");
    makeFolder(folder / "mount/camera");
    EXPECT_EQ(volumeResourceValues(folder / "mount/camera").name, "camera") << "a plain folder since";
    umount((folder / "mount").path().c_str());
    EXPECT_EQ(volumeResourceValues(folder / "mount/camera"), VolumeResourceValues());
    umount((folder / "mount/camera").path().c_str());
  });
}

TEST_P(MountedVolume, hasTheLabelAndTheUUIDThatUdevKnows) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "EOS DIGITAL");
    writeUdevRecord(volume.device(),
                    "E:ID_FS_LABEL=EOS_DIGITAL\nE:ID_FS_LABEL_ENC=EOS\\x20DIGITAL\nE:ID_FS_UUID=5B2E-9C01\n");
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()), (VolumeResourceValues{"EOS DIGITAL", "5B2E-9C01"}));
  });
}

TEST_P(MountedVolume, hasThePlainLabelWhenTheEncodedOneIsNoText) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CAM");
    writeUdevRecord(volume.device(),
                    "E:ID_FS_LABEL=CAM_RA\nE:ID_FS_LABEL_ENC=CAM\\x90RA\nE:ID_FS_UUID=5B2E-9C01\n");
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()).name, "CAM_RA");
  });
}

TEST_P(MountedVolume, hasNoNameWithoutALabel) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CAM");
    writeUdevRecord(volume.device(), "E:ID_FS_UUID=5B2E-9C01\n");
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()), (VolumeResourceValues{std::nullopt, "5B2E-9C01"}));
  });
}

TEST_P(MountedVolume, isFoundByUdevsLinksWhereThereIsNoDatabase) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "EOS DIGITAL");
    mountMemory(FileURL("/run"));
    makeDeviceLinks(volume.device(),
                    "Fotos\\x20\\x26\\x20Gr\xC3\xBC\xC3\x9F"
                    "e",
                    "5B2E-9C01");
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()), (VolumeResourceValues{"Fotos & Gr\xC3\xBC\xC3\x9F"
                                                                               "e",
                                                                               "5B2E-9C01"}));
    umount2("/dev", MNT_DETACH);
  });
}

TEST_P(MountedVolume, hasNeitherWhereNothingIsKnownOfTheDevice) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CAM");
    mountMemory(FileURL("/run"));
    mountMemory(FileURL("/dev"));
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()), VolumeResourceValues());
    umount2("/dev", MNT_DETACH);
  });
}

TEST_P(MountedVolume, keepsItsValuesAtAnotherPlace) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CAM");
    writeUdevRecord(volume.device(), "E:ID_FS_LABEL_ENC=CAM\nE:ID_FS_UUID=5B2E-9C01\n");
    const TemporaryFolder folder;
    makeFolder(folder / "a b\nc\\d");
    bindMount(volume.mountPoint(), folder / "a b\nc\\d");
    EXPECT_EQ(volumeResourceValues(folder / "a b\nc\\d"), (VolumeResourceValues{"CAM", "5B2E-9C01"}));
    umount((folder / "a b\nc\\d").path().c_str());
  });
}

TEST_P(MountedVolume, isTheLastOneMountedAtItsPlace) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CAM");
    writeUdevRecord(volume.device(), "E:ID_FS_LABEL_ENC=CAM\nE:ID_FS_UUID=5B2E-9C01\n");
    mountMemory(volume.mountPoint());
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()), VolumeResourceValues());
    umount(volume.mountPoint().path().c_str());
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()).name, "CAM");
  });
}

TEST_P(MountedVolume, lendsItsUUIDToTheFoldersOnIt) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CAM");
    makeFolder(volume.mountPoint().appending("DCIM"));
    const auto valuesWith = [&](const std::string& uuid) {
      writeUdevRecord(volume.device(), "E:ID_FS_UUID=" + uuid + "\n");
      VolumeResourceValues values = volumeResourceValues(volume.mountPoint().appending("DCIM"));
      umount("/run");
      return values;
    };
    EXPECT_EQ(valuesWith("5B2E-9C01").name, "DCIM");
    EXPECT_EQ(valuesWith("5B2E-9C01"), valuesWith("5B2E-9C01"));
    EXPECT_NE(valuesWith("5B2E-9C01").uuid, valuesWith("5B2E-9C02").uuid);
  });
}

TEST_P(MountedVolume, isAPlainFolderOnceItIsUnplugged) {
  inPrivateMountNamespace([] {
    LoopVolume volume(GetParam(), "CAM");
    writeFile(volume.mountPoint().appending("file"), "content");
    volume.remount();
    EXPECT_EQ(readFile(volume.mountPoint().appending("file")), "content");
    volume.unplug();
    EXPECT_EQ(volumeResourceValues(volume.mountPoint()).name, "volume");
    EXPECT_TRUE(std::filesystem::is_empty(volume.mountPoint().path()));
  });
}

INSTANTIATE_TEST_SUITE_P(Formats, MountedVolume,
                         testing::Values(LoopVolume::Format::ext4, LoopVolume::Format::exfat),
                         [](const auto& format) {
                           return format.param == LoopVolume::Format::ext4 ? "ext4" : "exfat";
                         });

}  // namespace tolvander::tests
