#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"

namespace tolvander::tests {
namespace {

// Real file systems on loop devices, recognised as they are mounted.
class MountedLoopVolume : public testing::TestWithParam<LoopVolume::Format> {
 protected:
  void SetUp() override {
    if (const auto reason = LoopVolume::reasonAgainst(GetParam())) {
      GTEST_SKIP() << *reason;
    }
    if (const auto reason = reasonAgainstPrivateMounts()) {
      GTEST_SKIP() << *reason;
    }
  }
};

std::optional<DetectedDevice> detect(const FileURL& volume) {
  return MountedVolumeMediaSource().detect(volume, DeviceProfile::builtIns());
}

std::string withMarkerAt(std::size_t offset) { return std::string(offset, '\0') + "GPEncoder"; }

TEST_P(MountedLoopVolume, withBothFoldersIsACharmera) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CHARMERA");
    std::filesystem::create_directories(volume.mountPoint().appending("SPIDCIM").path());
    writeFile(volume.mountPoint().appending("DCIM/100/PICT0010.JPG"), "ten");
    writeFile(volume.mountPoint().appending("DCIM/100/PICT0009.JPG"), "nine");
    const auto device = detect(volume.mountPoint());
    ASSERT_TRUE(device);
    EXPECT_EQ(device->profile, DeviceProfile::charmera());
    ASSERT_EQ(device->files.size(), 2U);
    EXPECT_EQ(device->files[0].relativePath, "DCIM/100/PICT0009.JPG");
    EXPECT_EQ(FileFingerprinter::sha256(device->files[1].url), FileFingerprinter::sha256(bytesOf("ten")));
  });
}

TEST_P(MountedLoopVolume, isACharmeraByTheMarkerOnlyWithinTheFirst512Bytes) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "NO NAME");
    const FileURL photo = volume.mountPoint().appending("DCIM/PICT0001.JPG");
    writeFile(photo, withMarkerAt(512));
    EXPECT_FALSE(detect(volume.mountPoint()));
    writeFile(photo, withMarkerAt(503));
    EXPECT_TRUE(detect(volume.mountPoint()));
  });
}

TEST_P(MountedLoopVolume, thatIsAPlainCardIsNothing) {
  inPrivateMountNamespace([] {
    const LoopVolume volume(GetParam(), "CARD");
    writeFile(volume.mountPoint().appending("DCIM/100CANON/IMG_0001.JPG"), "x");
    EXPECT_FALSE(detect(volume.mountPoint()));
  });
}

TEST_P(MountedLoopVolume, thatWasPulledOutIsNoCameraAnyMore) {
  inPrivateMountNamespace([] {
    LoopVolume volume(GetParam(), "CHARMERA");
    std::filesystem::create_directories(volume.mountPoint().appending("SPIDCIM").path());
    std::filesystem::create_directories(volume.mountPoint().appending("DCIM").path());
    EXPECT_TRUE(detect(volume.mountPoint()));
    volume.unplug();
    EXPECT_FALSE(detect(volume.mountPoint()));
  });
}

INSTANTIATE_TEST_SUITE_P(, MountedLoopVolume,
                         testing::Values(LoopVolume::Format::ext4, LoopVolume::Format::exfat),
                         [](const auto& format) {
                           return format.param == LoopVolume::Format::ext4 ? "ext4" : "exfat";
                         });

}  // namespace
}  // namespace tolvander::tests
