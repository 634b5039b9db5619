#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Mounts/MountTable.h"
#include "Platform/Linux/System/EventLoop.h"
#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "Platform/Linux/Volumes/UDisksEjector.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/VolumeRig.h"
#include "TolvanderApp/Platform/EjectError.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using app::EjectError;
using platform::linux_::EventLoop;
using platform::linux_::LinuxVolumes;
using platform::linux_::Mount;
using platform::linux_::MountTable;
using platform::linux_::UDisksEjector;

class Eject : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = reasonAgainstVolumeRig()) {
      GTEST_SKIP() << *reason;
    }
  }
};

// Why it wasn't ejected; absent when it was.
std::optional<EjectError::Case> eject(const FileURL& volume) {
  EventLoop loop;
  const LinuxVolumes volumes(loop);
  try {
    UDisksEjector(volumes).unmountAndEject(volume);
    return std::nullopt;
  } catch (const EjectError& error) {
    return error.kind();
  }
}

bool isMounted(const FileURL& device) {
  const MountTable table = MountTable::read();
  return std::ranges::any_of(table.mounts(),
                             [&](const Mount& mount) { return mount.source == device.path(); });
}

// The drive of a partition, "/dev/loop100p1".
FileURL driveOf(const FileURL& partition) {
  return FileURL(partition.path().substr(0, partition.path().rfind('p')));
}

TEST_F(Eject, unmountsTheCardAndPutsItOut) {
  for (const auto format : {LoopVolume::Format::ext4, LoopVolume::Format::exfat}) {
    inVolumeRig([format](VolumeRig& rig) {
      const FileURL card = rig.plugIn(format, "CARD");
      const FileURL place = rig.mount(card);
      writeFile(place.appending("file"), "content");
      EXPECT_TRUE(rig.hasMedium(card));
      EXPECT_EQ(eject(place), std::nullopt);
      EXPECT_FALSE(isMounted(card));
      EXPECT_FALSE(fs::exists(place.path()));
      EXPECT_FALSE(rig.hasMedium(card));
    });
  }
}

TEST_F(Eject, leavesABusyCardWhereItIs) {
  inVolumeRig([](VolumeRig& rig) {
    const FileURL card = rig.plugIn(LoopVolume::Format::ext4, "CARD");
    const FileURL place = rig.mount(card);
    const FileURL file = place.appending("file");
    writeFile(file, "content");
    {
      const std::ifstream open(file.path());
      EXPECT_EQ(eject(place), EjectError::Case::busy);
      EXPECT_TRUE(isMounted(card));
      EXPECT_TRUE(rig.hasMedium(card));
      EXPECT_EQ(readFile(file), "content");
    }
    EXPECT_EQ(eject(place), std::nullopt);
    EXPECT_FALSE(rig.hasMedium(card));
  });
}

TEST_F(Eject, failsForACardThatWasPulledOut) {
  inVolumeRig([](VolumeRig& rig) {
    const FileURL card = rig.plugIn(LoopVolume::Format::ext4, "CARD");
    const FileURL place = rig.mount(card);
    rig.unplug(card);
    EXPECT_TRUE(eject(place).has_value());
  });
}

TEST_F(Eject, unmountsEveryVolumeOfTheDrive) {
  inVolumeRig([](VolumeRig& rig) {
    const auto partitions = rig.plugInWithTwoPartitions("FIRST", "SECOND");
    const FileURL first = rig.mount(partitions.at(0));
    rig.mount(partitions.at(1));
    EXPECT_EQ(eject(first), std::nullopt);
    EXPECT_FALSE(isMounted(partitions.at(0)));
    EXPECT_FALSE(isMounted(partitions.at(1)));
    EXPECT_FALSE(rig.hasMedium(driveOf(partitions.at(0))));
  });
}

TEST_F(Eject, changesNothingWhereTheVolumeThatIsAskedForIsBusy) {
  inVolumeRig([](VolumeRig& rig) {
    const auto partitions = rig.plugInWithTwoPartitions("FIRST", "SECOND");
    rig.mount(partitions.at(0));
    const FileURL second = rig.mount(partitions.at(1));
    writeFile(second.appending("file"), "content");
    const std::ifstream open(second.appending("file").path());
    EXPECT_EQ(eject(second), EjectError::Case::busy);
    EXPECT_TRUE(isMounted(partitions.at(0)));
    EXPECT_TRUE(isMounted(partitions.at(1)));
  });
}

TEST_F(Eject, leavesTheDriveWhereAnotherVolumeOfItIsBusy) {
  inVolumeRig([](VolumeRig& rig) {
    const auto partitions = rig.plugInWithTwoPartitions("FIRST", "SECOND");
    const FileURL first = rig.mount(partitions.at(0));
    const FileURL second = rig.mount(partitions.at(1));
    writeFile(second.appending("file"), "content");
    const std::ifstream open(second.appending("file").path());
    EXPECT_EQ(eject(first), EjectError::Case::busy);
    EXPECT_TRUE(isMounted(partitions.at(1)));
    EXPECT_TRUE(rig.hasMedium(driveOf(partitions.at(0))));
    EXPECT_EQ(readFile(second.appending("file")), "content");
  });
}

}  // namespace
}  // namespace tolvander::tests
