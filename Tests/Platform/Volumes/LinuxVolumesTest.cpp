#include "Platform/Linux/Volumes/LinuxVolumes.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "Tests/Support/Doubles/ManualDescriptorWatcher.h"
#include "Tests/Support/Machine/MountTables.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::platform::linux_ {
namespace {

using namespace tests;
using app::CameraVolumeDiscovery;
using app::MountedVolume;
using app::VolumeValues;
using Strings = std::vector<std::string>;

// A machine whose mounts and drives the test makes up.
class LinuxVolumesTest : public testing::Test {
 protected:
  LinuxVolumesTest() { setMounts(desktopMounts); }

  void setMounts(std::string_view text) { writeFile(table, text); }

  LinuxVolumes volumes(std::vector<FileURL> chosenFolders = {}) {
    return LinuxVolumes(
        watcher, std::move(chosenFolders),
        {.mountTable = table, .drive = [this](dev_t number) { return driveNumbered(number); }});
  }

  Drive driveNumbered(dev_t number) {
    ++asked[number];
    const auto found = drives.find(number);
    Drive drive = found != drives.end() ? found->second : Drive();
    if (drive.disk == 0) {
      drive.disk = number;
    }
    return drive;
  }

  static Drive cardInAReader(std::string label, std::string uuid) {
    Drive drive;
    drive.label = std::move(label);
    drive.uuid = std::move(uuid);
    drive.bus = "usb";
    drive.isRemovable = true;
    return drive;
  }

  static Strings placesOf(const LinuxVolumes& volumes) {
    Strings places;
    for (const MountedVolume& volume : volumes.mountedVolumes()) {
      places.push_back(volume.url.path());
    }
    return places;
  }

  static VolumeValues valuesAt(const LinuxVolumes& volumes, const std::string& place) {
    for (const MountedVolume& volume : volumes.mountedVolumes()) {
      if (volume.url.path() == place) {
        return volume.values.value();
      }
    }
    ADD_FAILURE() << place << " is not listed";
    return {};
  }

  app::Subscription observe(LinuxVolumes& observed) {
    return observed.observeMounts([this](const FileURL& url) { told.push_back("mounted " + url.path()); },
                                  [this](const FileURL& url) { told.push_back("unmounted " + url.path()); });
  }

  TemporaryFolder folder;
  const FileURL table = folder / "mountinfo";
  std::map<dev_t, Drive> drives;
  std::map<dev_t, int> asked;  // how often
  ManualDescriptorWatcher watcher;
  Strings told;
};

TEST_F(LinuxVolumesTest, listsDrivesAndNothingOfTheKernelsOwn) {
  EXPECT_EQ(placesOf(volumes()), (Strings{"/", "/boot/efi", "/media/me/EOS_DIGITAL"}));
}

TEST_F(LinuxVolumesTest, asksForEachDriveOnceALook) {
  const LinuxVolumes listed = volumes({FileURL("/boot/efi"), folder.url()});
  const std::map<dev_t, int> once = {{makedev(8, 17), 1}, {makedev(259, 1), 1}, {makedev(259, 2), 1}};
  listed.mountedVolumes();
  EXPECT_EQ(asked, once);
  asked.clear();
  listed.mountedVolumes();
  EXPECT_EQ(asked, once) << "what was looked at before may be out of date";
}

TEST_F(LinuxVolumesTest, knowsACardInAReader) {
  drives[makedev(8, 17)] = cardInAReader("EOS_DIGITAL", "5B2E-9C01");
  const VolumeValues values = valuesAt(volumes(), "/media/me/EOS_DIGITAL");
  EXPECT_EQ(values.isInternal, false);
  EXPECT_EQ(values.isLocal, true);
  EXPECT_EQ(values.isRemovable, true);
  EXPECT_EQ(values.isEjectable, false);
  EXPECT_EQ(values.name, "EOS_DIGITAL");
  EXPECT_EQ(values.uuid, "5B2E-9C01");
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes()), std::vector{FileURL("/media/me/EOS_DIGITAL")});
}

TEST_F(LinuxVolumesTest, countsWhatCanBeEjectedOnlyAsPluggedIn) {
  drives[makedev(8, 17)].isEjectable = true;
  const VolumeValues values = valuesAt(volumes(), "/media/me/EOS_DIGITAL");
  EXPECT_EQ(values.isInternal, false);
  EXPECT_EQ(values.isRemovable, false);
  EXPECT_EQ(values.isEjectable, true);
}

TEST_F(LinuxVolumesTest, countsDisksWithoutAMarkAsBuiltIn) {
  for (const char* const place : {"/", "/boot/efi", "/media/me/EOS_DIGITAL"}) {
    EXPECT_EQ(valuesAt(volumes(), place).isInternal, true) << place;
  }
  EXPECT_TRUE(CameraVolumeDiscovery::mountedURLs(volumes()).empty());
}

TEST_F(LinuxVolumesTest, countsTheDriveThatTheSystemRunsFromAsBuiltIn) {
  Drive partition = cardInAReader("rootfs", "1");
  partition.disk = makedev(259, 0);
  drives[makedev(259, 1)] = partition;
  drives[makedev(259, 2)] = partition;
  drives[makedev(8, 17)] = cardInAReader("EOS_DIGITAL", "5B2E-9C01");
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes()), std::vector{FileURL("/media/me/EOS_DIGITAL")});
}

TEST_F(LinuxVolumesTest, knowsSharesOfOtherMachines) {
  setMounts(std::string(desktopMounts) + std::string(networkMounts));
  for (const char* const place : {"/mnt/nas", "/mnt/office", "/home/me/remote", "/home/me/cloud"}) {
    const VolumeValues values = valuesAt(volumes(), place);
    EXPECT_EQ(values.isLocal, false) << place;
    EXPECT_EQ(values.isInternal, std::nullopt) << place;
  }
  EXPECT_TRUE(CameraVolumeDiscovery::mountedURLs(volumes()).empty());
}

TEST_F(LinuxVolumesTest, countsLoopImagesAsBuiltInUnlessUdevSaysOtherwise) {
  setMounts(std::string(desktopMounts) + std::string(loopMounts));
  EXPECT_EQ(valuesAt(volumes(), "/mnt/image").isInternal, true);
  EXPECT_EQ(valuesAt(volumes(), "/snap/core/1").isInternal, true);
  drives[makedev(7, 4)] = cardInAReader("CARD", "1");
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes()), std::vector{FileURL("/mnt/image")});
}

TEST_F(LinuxVolumesTest, listsVolumesWhateverTheyAreCalled) {
  setMounts(oddNameMounts);
  EXPECT_EQ(placesOf(volumes()), (Strings{"/media/me/MY CARD", "/media/me/a\tb\nc\\d",
                                          "/media/me/Gr\xC3\xBC\xC3\x9F", "/media/me/\x90\xFF"}));
}

TEST_F(LinuxVolumesTest, listsAVolumeThatIsMountedTwiceAtTheFirstPlace) {
  setMounts(
      "28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "40 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"
      "41 28 8:17 / /mnt/again rw - vfat /dev/sdb1 rw\n");
  EXPECT_EQ(placesOf(volumes()), (Strings{"/", "/media/CARD"}));
}

TEST_F(LinuxVolumesTest, listsNoFolderThatIsMountedASecondTime) {
  setMounts(
      "28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "40 28 8:17 /DCIM /mnt/photos rw - vfat /dev/sdb1 rw\n"
      "41 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"
      "42 28 8:33 /DCIM /mnt/more rw - vfat /dev/sdc1 rw\n");
  EXPECT_EQ(placesOf(volumes()), (Strings{"/", "/media/CARD"}));
}

TEST_F(LinuxVolumesTest, listsASubvolumeOfBtrfs) {
  setMounts(
      "28 1 0:30 /@ / rw - btrfs /dev/missing rw\n"
      "29 28 0:30 /@home /home rw - btrfs /dev/missing rw\n");
  EXPECT_EQ(placesOf(volumes()), Strings{"/"});
}

TEST_F(LinuxVolumesTest, listsOfSeveralVolumesAtOnePlaceTheTopOne) {
  drives[makedev(8, 33)] = cardInAReader("TOP", "2");
  drives[makedev(8, 17)] = cardInAReader("BOTTOM", "1");
  setMounts(
      "28 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "40 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n"
      "41 40 8:33 / /media/CARD rw - vfat /dev/sdc1 rw\n");
  EXPECT_EQ(placesOf(volumes()), (Strings{"/", "/media/CARD"}));
  EXPECT_EQ(valuesAt(volumes(), "/media/CARD").name, "TOP");
}

TEST_F(LinuxVolumesTest, failsWhereTheMountsCannotBeRead) {
  std::filesystem::remove(table.path());
  LinuxVolumes broken = volumes();
  EXPECT_THROW(broken.mountedVolumes(), PosixError);
  EXPECT_THROW(static_cast<void>(observe(broken)), PosixError);
}

TEST_F(LinuxVolumesTest, countsAChosenFolderAsAPluggedInVolumeWhileItExists) {
  const FileURL card = folder / "My Card";
  std::filesystem::create_directory(card.path());
  const LinuxVolumes chosen = volumes({card});
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(chosen), std::vector{card});
  const VolumeValues values = valuesAt(chosen, card.path());
  EXPECT_EQ(values.isEjectable, false);
  EXPECT_EQ(values.name, "My Card");
  EXPECT_EQ(values.uuid, volumeResourceValues(card).uuid);
  EXPECT_TRUE(values.uuid);
  std::filesystem::remove(card.path());
  EXPECT_TRUE(CameraVolumeDiscovery::mountedURLs(chosen).empty());
}

TEST_F(LinuxVolumesTest, countsNoChosenFileAsAVolume) {
  writeFile(folder / "file", "");
  EXPECT_EQ(placesOf(volumes({folder / "file", folder / "missing"})).size(), 3U);
}

TEST_F(LinuxVolumesTest, countsNoFolderOfADriveAsAVolume) {
  const FileURL card = folder / "card";
  std::filesystem::create_directories(card.appending("DCIM/100").path());
  std::filesystem::create_directories((folder / "inside").path());
  setMounts(std::string(desktopMounts) + "130 28 8:33 / " + card.path() + " rw - vfat /dev/sdc1 rw\n" +
            "131 28 8:49 / " + (folder / "inside").path() + " rw - ext4 /dev/sdd1 rw\n");
  std::filesystem::create_directories((folder / "inside/card").path());
  drives[makedev(8, 33)].isRemovable = true;
  const Strings listed = placesOf(volumes());
  EXPECT_EQ(placesOf(volumes({card.appending("DCIM/100"), card.appending("DCIM")})), listed);
  Strings withInside = listed;
  withInside.push_back((folder / "inside/card").path());
  EXPECT_EQ(placesOf(volumes({folder / "inside/card"})), withInside) << "of a drive that is built in";
}

TEST_F(LinuxVolumesTest, countsNoFolderOfADriveThatCanOnlyEjectAsAVolume) {
  const FileURL card = folder / "card";
  std::filesystem::create_directories(card.appending("copy").path());
  setMounts(std::string(desktopMounts) + "130 28 8:33 / " + card.path() + " rw - vfat /dev/sdc1 rw\n");
  drives[makedev(8, 33)].isEjectable = true;
  EXPECT_EQ(placesOf(volumes({card.appending("copy")})), placesOf(volumes()));
}

TEST_F(LinuxVolumesTest, countsFoldersOfASystemThatRunsFromAPluggedInDrive) {
  drives[makedev(259, 2)].isRemovable = true;
  EXPECT_EQ(placesOf(volumes({folder.url()})).back(), folder.url().path());
}

TEST_F(LinuxVolumesTest, countsAMountPointThatIsCalledDCIM) {
  const FileURL mountPoint = folder / "DCIM";
  std::filesystem::create_directories(mountPoint.path());
  setMounts(std::string(desktopMounts) + "130 28 8:33 / " + mountPoint.path() + " rw - vfat /dev/sdc1 rw\n");
  EXPECT_EQ(placesOf(volumes({mountPoint})).back(), mountPoint.path());
}

TEST_F(LinuxVolumesTest, countsTheFolderThatHoldsDCIMInsteadOfDCIM) {
  std::filesystem::create_directories((folder / "copy/SPIDCIM").path());
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes({folder / "copy/SPIDCIM"})),
            std::vector{(folder / "copy").resolvingSymlinks()});
}

// As in a changed root, whose mount table has only what is mounted below it.
TEST_F(LinuxVolumesTest, countsNoRootAsAChosenVolumeThatTheMountTableDoesNotName) {
  setMounts("130 28 8:33 / /media/me/CARD rw - vfat /dev/sdc1 rw\n");
  EXPECT_EQ(placesOf(volumes({FileURL("/"), folder.url()})),
            (Strings{"/media/me/CARD", folder.url().path()}));
}

TEST_F(LinuxVolumesTest, countsNoPlaceOfTheSystemAsAChosenVolume) {
  const std::vector<FileURL> places{FileURL("/"),    FileURL("/proc"), FileURL("/proc/self"),
                                    FileURL("/sys"), FileURL("/run"),  FileURL("/dev")};
  EXPECT_TRUE(CameraVolumeDiscovery::mountedURLs(volumes(places)).empty());
}

TEST_F(LinuxVolumesTest, listsAChosenMountPointOnceAsItWasSpelt) {
  const FileURL card = folder / "card";
  std::filesystem::create_directory(card.path());
  std::filesystem::create_symlink(card.path(), (folder / "link").path());
  setMounts("120 28 8:17 / " + card.path() + " rw - vfat /dev/sdb1 rw\n");
  drives[makedev(8, 17)].label = "CARD";
  drives[makedev(8, 17)].isEjectable = true;
  const LinuxVolumes chosen = volumes({folder / "link"});
  EXPECT_EQ(placesOf(chosen), Strings{(folder / "link").path()});
  const VolumeValues values = valuesAt(chosen, (folder / "link").path());
  EXPECT_EQ(values.isRemovable, true);
  EXPECT_EQ(values.isEjectable, true);
  EXPECT_EQ(values.name, "CARD");
  EXPECT_EQ(chosen.source(folder / "link"), "/dev/sdb1");
}

TEST_F(LinuxVolumesTest, listsNothingOfADriveThatWasPulledOutWhileItWasMounted) {
  const FileURL card = folder / "card";
  std::filesystem::create_directories(card.appending("DCIM").path());
  setMounts(std::string(desktopMounts) + "130 28 8:33 / " + card.path() + " rw - vfat /dev/sdc1 rw\n");
  drives[makedev(8, 33)].isRemovable = true;
  const LinuxVolumes chosen = volumes({card});
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(chosen), std::vector{card});
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes()), std::vector{card});
  drives[makedev(8, 33)] = Drive();
  drives[makedev(8, 33)].isGone = true;
  for (const LinuxVolumes& listed : {volumes({card}), volumes({card.appending("DCIM")}), volumes()}) {
    EXPECT_EQ(placesOf(listed), (Strings{"/", "/boot/efi", "/media/me/EOS_DIGITAL"}));
  }
}

TEST_F(LinuxVolumesTest, tellsWhatComesAndGoes) {
  LinuxVolumes observed = volumes();
  const auto subscription = observe(observed);
  EXPECT_EQ(watcher.events(), static_cast<std::uint32_t>(EPOLLPRI));
  setMounts(std::string(desktopMounts) + "140 28 7:4 / /mnt/image rw - ext4 /dev/loop4 rw\n");
  EXPECT_TRUE(told.empty()) << "nothing is looked at unasked";
  watcher.report();
  EXPECT_EQ(told, Strings{"mounted /mnt/image"});
  watcher.report();
  EXPECT_EQ(told, Strings{"mounted /mnt/image"});
  setMounts(desktopMounts);
  watcher.report();
  EXPECT_EQ(told, (Strings{"mounted /mnt/image", "unmounted /mnt/image"}));
}

TEST_F(LinuxVolumesTest, tellsWhatWentBeforeWhatCame) {
  LinuxVolumes observed = volumes();
  const auto subscription = observe(observed);
  setMounts(
      "28 1 259:2 / / rw - ext4 /dev/nvme0n1p2 rw\n"
      "120 28 8:17 / /media/me/elsewhere rw - vfat /dev/sdb1 rw\n"
      "121 28 8:33 / /media/me/new rw - vfat /dev/sdc1 rw\n");
  watcher.report();
  EXPECT_EQ(told, (Strings{"unmounted /boot/efi", "unmounted /media/me/EOS_DIGITAL",
                           "mounted /media/me/elsewhere", "mounted /media/me/new"}));
}

TEST_F(LinuxVolumesTest, tellsOfAnotherVolumeAtTheSamePlace) {
  LinuxVolumes observed = volumes();
  const auto subscription = observe(observed);
  std::string other(desktopMounts);
  other.replace(other.find("8:17"), 4, "8:33");
  setMounts(other);
  watcher.report();
  EXPECT_EQ(told, (Strings{"unmounted /media/me/EOS_DIGITAL", "mounted /media/me/EOS_DIGITAL"}));
}

TEST_F(LinuxVolumesTest, tellsNothingOfChangesThatAreNone) {
  LinuxVolumes observed = volumes();
  const auto subscription = observe(observed);
  std::string readOnly(desktopMounts);
  readOnly.replace(readOnly.find("rw,nosuid,nodev,relatime shared:70"), 2, "ro");
  setMounts(readOnly +
            "150 28 0:70 / /tmp/x rw - tmpfs tmpfs rw\n151 28 8:17 /DCIM /y rw - vfat /dev/sdb1 rw\n");
  watcher.report();
  EXPECT_EQ(told, Strings());
}

TEST_F(LinuxVolumesTest, tellsOfEverythingMissedWhenTheTableCanBeReadAgain) {
  LinuxVolumes observed = volumes();
  const auto subscription = observe(observed);
  std::filesystem::rename(table.path(), (folder / "aside").path());
  watcher.report();
  EXPECT_EQ(told, Strings());
  setMounts("28 1 259:2 / / rw - ext4 /dev/nvme0n1p2 rw\n");
  watcher.report();
  EXPECT_EQ(told, (Strings{"unmounted /boot/efi", "unmounted /media/me/EOS_DIGITAL"}));
}

TEST_F(LinuxVolumesTest, tellsNothingOnceTheSubscriptionEndsEvenFromWithin) {
  LinuxVolumes observed = volumes();
  app::Subscription subscription =
      observed.observeMounts([this](const FileURL&) { told.emplace_back("mounted"); },
                             [&](const FileURL& url) {
                               told.push_back("unmounted " + url.path());
                               subscription.end();
                             });
  EXPECT_TRUE(watcher.isWatching());
  setMounts("28 1 259:2 / / rw - ext4 /dev/nvme0n1p2 rw\n120 28 8:33 / /new rw - vfat /dev/sdc1 rw\n");
  watcher.report();
  EXPECT_EQ(told, Strings{"unmounted /boot/efi"});
  EXPECT_FALSE(watcher.isWatching());
}

TEST_F(LinuxVolumesTest, tellsOfAChosenFolderAtTheNextChange) {
  const FileURL card = folder / "card";
  std::filesystem::create_directory(card.path());
  LinuxVolumes observed = volumes({card});
  const auto subscription = observe(observed);
  std::filesystem::remove(card.path());
  watcher.report();
  EXPECT_EQ(told, Strings{"unmounted " + card.path()});
}

}  // namespace
}  // namespace tolvander::platform::linux_
