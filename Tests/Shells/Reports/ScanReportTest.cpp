#include "Shells/CommandLine/Reports/ScanReport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::app {
namespace {

ScanReport sampleReport() {
  const FileURL volume("/media/CHARMERA");
  return {.volumeURL = volume,
          .displayName = "CHAR\nMERA",
          .profile = DeviceProfile::charmera(),
          .files = {{.file = {.url = volume.appending("DCIM/PICT0001.JPG"),
                              .volumeURL = volume,
                              .relativePath = "DCIM/PICT0001.JPG",
                              .filename = "PICT0001.JPG",
                              .byteCount = 901'234,
                              .modifiedAt = dateFromISO8601("2026-11-15T19:13:17Z")},
                     .sourceFingerprint = "00ff"},
                    {.file = {.url = volume.appending("DCIM/MOVI0002.AVI"),
                              .volumeURL = volume,
                              .relativePath = "DCIM/MOVI0002.AVI",
                              .filename = "MOVI0002.AVI",
                              .byteCount = 0,
                              .modifiedAt = std::nullopt},
                     .sourceFingerprint = std::nullopt}}};
}

TEST(ScanReport, tellsPeopleWhatTheVolumeIsAndHolds) {
  EXPECT_EQ(sampleReport().text(),
            "KODAK Charmera “CHAR�MERA”: 2 media files, 901 KB\n"
            "00ff  2026-11-15T19:13:17Z     901 KB  DCIM/PICT0001.JPG\n"
            "                        0 bytes  DCIM/MOVI0002.AVI\n");
}

TEST(ScanReport, tellsPeopleOfAVolumeThatIsNoCamera) {
  ScanReport report = sampleReport();
  report.profile.reset();
  report.files.clear();
  EXPECT_EQ(report.text(), "“CHAR�MERA” is no camera that Tolvander knows.\n");
}

TEST(ScanReport, tellsProgramsEveryFactInTheListingsOrder) {
  EXPECT_EQ(sampleReport().json(), R"({
  "volume" : "\/media\/CHARMERA",
  "displayName" : "CHAR\nMERA",
  "profile" : {
    "id" : "43484152-4D45-5241-8000-000000000001",
    "kind" : "charmera",
    "name" : "KODAK Charmera"
  },
  "files" : [
    {
      "relativePath" : "DCIM\/PICT0001.JPG",
      "byteCount" : 901234,
      "modifiedAt" : "2026-11-15T19:13:17Z",
      "sourceFingerprint" : "00ff"
    },
    {
      "relativePath" : "DCIM\/MOVI0002.AVI",
      "byteCount" : 0
    }
  ]
})");
}

TEST(ScanReport, tellsAVolumeThatMayNotBeReachedFromOneThatIsNotThere) {
  const tests::TemporaryFolder folder;
  tests::writeFile(folder / "closed/CARD/file", "x");
  const auto failureOf = [](const FileURL& volume) {
    try {
      ScanReport::of(volume, false, {});
    } catch (const PosixError& error) {
      return error.code();
    }
    return std::int64_t{0};
  };
  EXPECT_EQ(failureOf(folder / "closed/NONE"), ENOENT);
  std::filesystem::permissions(folder.url().path(), std::filesystem::perms::all);
  std::filesystem::permissions((folder / "closed").path(), std::filesystem::perms::none);
  const tests::OtherUser nobody;
  EXPECT_EQ(failureOf(folder / "closed/CARD"), EACCES);
}

TEST(ScanReport, knowsAFileThatIsSetAsideByItsPlace) {
  const tests::TemporaryFolder folder;
  const FileURL card = folder / "CARD";
  tests::writeFile(card.appending("DCIM/PICT0001.JPG"), "no picture");
  ScanReport::Options options{.savedProfiles = {MountedVolumeMediaSource::customProfile(card, {"DCIM"})}};
  const CameraMediaFile file = ScanReport::of(card, options, {}).files.at(0).file;
  const auto isSetAsideOn = [&](const std::string& volumeUUID) {
    options.setAside = {{.relativePath = file.relativePath,
                         .byteCount = file.byteCount,
                         .sha256 = std::nullopt,
                         .place = SetAsideFile::Place{
                             .volumeUUID = volumeUUID,
                             .modifiedAt = std::chrono::floor<std::chrono::seconds>(*file.modifiedAt)}}};
    return ScanReport::of(card, options, {}).files.at(0).isSetAside;
  };
  EXPECT_TRUE(isSetAsideOn(volumeResourceValues(card).uuid.value_or("")));
  EXPECT_FALSE(isSetAsideOn("ANOTHER"));
}

TEST(ScanReport, givesProgramsNullForAVolumeThatIsNoCamera) {
  ScanReport report = sampleReport();
  report.profile.reset();
  report.files.clear();
  const JSONDocument document(tests::bytesOf(report.json()));
  EXPECT_TRUE(document.root().object().required("profile").isNull());
  EXPECT_TRUE(document.root().object().required("files").array().empty());
}

}  // namespace
}  // namespace tolvander::app
