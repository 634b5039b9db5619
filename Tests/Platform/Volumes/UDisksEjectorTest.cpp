#include "Platform/Linux/Volumes/UDisksEjector.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "Platform/Linux/System/EventLoop.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/PrivateBus.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Platform/EjectError.h"

namespace tolvander::tests {
namespace {

using app::EjectError;
using platform::linux_::EventLoop;
using platform::linux_::LinuxVolumes;
using platform::linux_::UDisksEjector;

class UDisksEjectorTest : public testing::Test {
 protected:
  // Why it wasn't ejected; absent when it was.
  static std::optional<EjectError::Case> eject(const LinuxVolumes& volumes, const FileURL& volume) {
    try {
      UDisksEjector(volumes).unmountAndEject(volume);
      return std::nullopt;
    } catch (const EjectError& error) {
      EXPECT_TRUE(error.description());
      return error.kind();
    }
  }

  // A volume that a device is mounted at, as the table says.
  LinuxVolumes volumesWithDevice() {
    writeFile(table, "30 1 7:77 / " + volume.path() + " rw - ext4 /dev/tolvander-no-such-device rw\n");
    return LinuxVolumes(loop, {}, {.mountTable = table});
  }

  TemporaryFolder folder;
  const FileURL volume = folder / "CARD";
  const FileURL table = folder / "mountinfo";
  EventLoop loop;
};

TEST_F(UDisksEjectorTest, hasNoDriveForAFolder) {
  writeFile(volume.appending("file"), "");
  EXPECT_EQ(eject(LinuxVolumes(loop, {volume}), volume), EjectError::Case::notRemovable);
}

TEST_F(UDisksEjectorTest, isUnavailableWithoutASystemBus) {
  writeFile(volume.appending("file"), "");
  const LinuxVolumes volumes = volumesWithDevice();
  inChildProcess([&] {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (folder / "no-bus").path()).c_str(), 1);
    EXPECT_EQ(eject(volumes, volume), EjectError::Case::unavailable);
  });
}

TEST_F(UDisksEjectorTest, isUnavailableOnABusWithoutUDisks) {
  if (const auto reason = PrivateBus::reasonAgainst()) {
    GTEST_SKIP() << "needs " << *reason;
  }
  writeFile(volume.appending("file"), "");
  const LinuxVolumes volumes = volumesWithDevice();
  const PrivateBus bus;
  inChildProcess([&] {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    EXPECT_EQ(eject(volumes, volume), EjectError::Case::unavailable);
  });
}

}  // namespace
}  // namespace tolvander::tests
