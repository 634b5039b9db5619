#include "Platform/Linux/Mounts/Drive.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <functional>
#include <string>

#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::platform::linux_ {
namespace {

using namespace tests;

const dev_t disk = makedev(8, 16);
const dev_t partition = makedev(8, 17);

void mountMemory(const std::string& place) {
  std::filesystem::create_directories(place);
  ASSERT_EQ(mount("tmpfs", place.c_str(), "tmpfs", 0, ""), 0) << place;
}

// A kernel and a udev that the test makes up, in place of the real ones.
class Machine {
 public:
  Machine() {
    mountMemory("/sys");
    mountMemory("/run");
    mountMemory("/dev");
    setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);  // libudev is to take the folder for the kernel's
    std::filesystem::create_directories("/sys/dev/block");
  }
  ~Machine() {
    for (const char* const place : {"/dev", "/run", "/sys"}) {
      umount2(place, MNT_DETACH);
    }
  }

  // A device of the kernel at a path below /sys/devices.
  void addDevice(const std::string& path, const std::string& subsystem, const std::string& uevent = "") {
    const FileURL folder("/sys/devices/" + path);
    writeFile(folder.appending("uevent"), uevent);
    std::filesystem::create_directories("/sys/bus/" + subsystem);
    std::filesystem::create_symlink("/sys/bus/" + subsystem, folder.appending("subsystem").path());
  }

  // sdb and sdb1, or whatever they are called, below `parent`.
  void addDisk(const std::string& parent, const std::string& removable = "0",
               const std::string& name = "sdb") {
    const std::string path = parent + "/block/" + name;
    addBlockDevice(path, "disk", disk, name);
    addBlockDevice(path + "/" + name + "1", "partition", partition, name + "1");
    addAttribute(path, "removable", removable);
  }

  void addAttribute(const std::string& path, const std::string& name, const std::string& value) {
    writeFile(FileURL("/sys/devices/" + path + "/" + name), value + "\n");
  }

  // What udevd has recorded of a device, a line "E:KEY=value" for each property.
  void addRecord(dev_t number, const std::string& properties) {
    writeFile(FileURL("/run/udev/data/b" + numberText(number)), "I:1\n" + properties + "V:1\n");
  }

 private:
  static std::string numberText(dev_t number) {
    return std::to_string(major(number)) + ":" + std::to_string(minor(number));
  }

  void addBlockDevice(const std::string& path, const std::string& type, dev_t number,
                      const std::string& name) {
    addDevice(path, "block",
              "MAJOR=" + std::to_string(major(number)) + "\nMINOR=" + std::to_string(minor(number)) +
                  "\nDEVNAME=" + name + "\nDEVTYPE=" + type + "\n");
    std::filesystem::create_symlink("/sys/devices/" + path, "/sys/dev/block/" + numberText(number));
  }
};

class DriveTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = reasonAgainstPrivateMounts()) {
      GTEST_SKIP() << *reason;
    }
  }

  static void onMachine(const std::function<void(Machine&)>& body) {
    inPrivateMountNamespace([&] {
      Machine machine;
      body(machine);
    });
  }
};

TEST_F(DriveTest, isUnknownWhereThereIsNoSuchDevice) {
  onMachine([](Machine&) {
    Drive unknown;
    unknown.disk = partition;
    unknown.isGone = true;
    EXPECT_EQ(Drive::ofDevice(partition), unknown);
  });
}

TEST_F(DriveTest, isGoneOnceTheKernelDoesNotListItAnyMore) {
  onMachine([](Machine& machine) {
    machine.addDisk("pci0000:00/usb1/host4");
    EXPECT_FALSE(Drive::ofDevice(partition).isGone);
    std::filesystem::remove("/sys/dev/block/8:17");
    EXPECT_TRUE(Drive::ofDevice(partition).isGone);
    EXPECT_FALSE(Drive::ofDevice(disk).isGone);
    std::filesystem::remove_all("/sys/dev");
    EXPECT_FALSE(Drive::ofDevice(partition).isGone) << "where the kernel doesn't tell";
  });
}

TEST_F(DriveTest, isNotGoneWhereTheKernelsListMayNotBeSearched) {
  onMachine([](Machine& machine) {
    machine.addDisk("pci0000:00/usb1/host4");
    std::filesystem::permissions("/sys/dev/block", std::filesystem::perms::owner_all);
    const OtherUser nobody;
    EXPECT_FALSE(Drive::ofDevice(partition).isGone);
  });
}

TEST_F(DriveTest, thatIsBuiltInHasNoMark) {
  onMachine([](Machine& machine) {
    machine.addDisk("pci0000:00/ata1");
    machine.addRecord(disk, "E:ID_BUS=ata\n");
    machine.addRecord(partition, "E:ID_FS_UUID=1234\nE:ID_FS_LABEL_ENC=My\\x20Disk\n");
    const Drive drive = Drive::ofDevice(partition);
    EXPECT_FALSE(drive.isRemovable);
    EXPECT_FALSE(drive.isEjectable);
    EXPECT_EQ(drive.bus, "ata");
    EXPECT_EQ(drive.uuid, "1234");
    EXPECT_EQ(drive.label, "My Disk");
    EXPECT_EQ(drive.disk, disk);
  });
}

TEST_F(DriveTest, isRemovableOverUSBThoughUdevKnowsNothing) {
  onMachine([](Machine& machine) {
    machine.addDevice("pci0000:00/usb1", "usb", "DEVTYPE=usb_device\n");
    machine.addDisk("pci0000:00/usb1/host4");
    EXPECT_TRUE(Drive::ofDevice(partition).isRemovable);
    EXPECT_TRUE(Drive::ofDevice(disk).isRemovable);
    EXPECT_EQ(Drive::ofDevice(partition).bus, "usb");
    EXPECT_EQ(Drive::ofDevice(partition).uuid, std::nullopt);
    EXPECT_EQ(Drive::ofDevice(disk).disk, disk);
  });
}

TEST_F(DriveTest, isRemovableWhenTheKernelSaysSo) {
  onMachine([](Machine& machine) {
    machine.addDisk("pci0000:00/ata1", "1");
    EXPECT_TRUE(Drive::ofDevice(partition).isRemovable);
    EXPECT_TRUE(Drive::ofDevice(disk).isRemovable);
  });
}

TEST_F(DriveTest, isRemovableAsACardInASlotAndNotAsASolderedChip) {
  for (const bool isCard : {true, false}) {
    onMachine([&](Machine& machine) {
      machine.addDevice("platform/mmc0/mmc0:0001", "mmc");
      machine.addAttribute("platform/mmc0/mmc0:0001", "type", isCard ? "SD" : "MMC");
      machine.addDisk("platform/mmc0/mmc0:0001", "0", "mmcblk");
      EXPECT_EQ(Drive::ofDevice(partition).isRemovable, isCard);
      EXPECT_EQ(Drive::ofDevice(partition).bus, "mmc");
    });
  }
}

TEST_F(DriveTest, isRemovableOrEjectableWhenItsDiskIsMarkedSoInUdevsDatabase) {
  struct Mark {
    const char* property;
    bool isRemovable;
    bool isEjectable;
  };
  for (const Mark& mark :
       {Mark{"ID_BUS=usb", true, false}, Mark{"ID_DRIVE_FLASH_SD=1", true, false},
        Mark{"ID_DRIVE_DETACHABLE=1", true, false}, Mark{"ID_DRIVE_EJECTABLE=1", false, true},
        Mark{"ID_CDROM=1", false, true}, Mark{"ID_DRIVE_FLASH_SD=0", false, false},
        Mark{"ID_DRIVE_EJECTABLE=0", false, false}, Mark{"ID_BUS=ata", false, false}}) {
    onMachine([&](Machine& machine) {
      machine.addDisk("virtual");
      machine.addRecord(disk, "E:" + std::string(mark.property) + "\n");
      EXPECT_EQ(Drive::ofDevice(partition).isRemovable, mark.isRemovable) << mark.property;
      EXPECT_EQ(Drive::ofDevice(partition).isEjectable, mark.isEjectable) << mark.property;
    });
  }
}

TEST_F(DriveTest, hasTheNamesOfItsLinksWhereUdevHasNoRecord) {
  onMachine([](Machine& machine) {
    machine.addDisk("pci0000:00/ata1");
    ASSERT_EQ(mknod("/dev/sdb1", S_IFBLK | 0600, partition), 0);
    for (const char* const link : {"/dev/disk/by-uuid/5B2E-9C01", "/dev/disk/by-label/EOS\\x20DIGITAL"}) {
      std::filesystem::create_directories(std::filesystem::path(link).parent_path());
      std::filesystem::create_symlink("../../sdb1", link);
    }
    EXPECT_EQ(Drive::ofDevice(partition).uuid, "5B2E-9C01");
    EXPECT_EQ(Drive::ofDevice(partition).label, "EOS DIGITAL");
    EXPECT_EQ(Drive::ofDevice(disk).uuid, std::nullopt);
  });
}

TEST_F(DriveTest, ofAnImageIsBuiltInUnlessUdevMarksIt) {
  if (const auto reason = LoopVolume::reasonAgainst(LoopVolume::Format::ext4)) {
    GTEST_SKIP() << *reason;
  }
  inPrivateMountNamespace([] {
    const LoopVolume volume(LoopVolume::Format::ext4, "CARD");
    struct stat status {};
    ASSERT_EQ(stat(volume.device().path().c_str(), &status), 0);
    mountMemory("/run");
    EXPECT_FALSE(Drive::ofDevice(status.st_rdev).isRemovable);
    EXPECT_EQ(Drive::ofDevice(status.st_rdev).disk, status.st_rdev);
    writeFile(FileURL("/run/udev/data/b" + std::to_string(major(status.st_rdev)) + ":" +
                      std::to_string(minor(status.st_rdev))),
              "I:1\nE:ID_BUS=usb\nE:ID_DRIVE_FLASH_SD=1\nV:1\n");
    EXPECT_TRUE(Drive::ofDevice(status.st_rdev).isRemovable);
    umount2("/run", MNT_DETACH);
  });
}

}  // namespace
}  // namespace tolvander::platform::linux_
