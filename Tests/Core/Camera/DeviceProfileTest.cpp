#include "TolvanderCore/DeviceProfile.h"

#include <gtest/gtest.h>

#include <functional>
#include <unordered_set>

#include "TolvanderCore/CameraAccessGrant.h"
#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/DetectedDevice.h"

namespace tolvander {
namespace {

TEST(DeviceProfile, describesTheCharmera) {
  const DeviceProfile profile = DeviceProfile::charmera();
  EXPECT_EQ(profile.id.text(), "43484152-4D45-5241-8000-000000000001");
  EXPECT_EQ(profile.name, "KODAK Charmera");
  EXPECT_EQ(profile.kind, DeviceProfile::Kind::charmera);
  EXPECT_TRUE(profile.isEnabled);
  EXPECT_EQ(profile.mediaRoots, (std::vector<std::string>{"DCIM", "SPIDCIM"}));
  EXPECT_EQ(profile.supportedExtensions,
            (std::set<std::string>{"jpg", "jpeg", "heic", "png", "mov", "mp4", "avi"}));
  EXPECT_TRUE(profile.matchRules.volumeNames.empty());
  EXPECT_EQ(profile.matchRules.volumeUUID, std::nullopt);
  EXPECT_EQ(profile.matchRules.requiredPaths, (std::vector<std::string>{"DCIM"}));
  EXPECT_EQ(profile.matchRules.filenamePattern, "^PICT[0-9]{4,}\\.(?i:jpe?g)$");
  EXPECT_EQ(profile.priority, 100);
  EXPECT_EQ(profile.securityScopedBookmark, std::nullopt);
}

TEST(DeviceProfile, describesTheStandardCardAndShipsItDisabled) {
  const DeviceProfile profile = DeviceProfile::standardCameraCard();
  EXPECT_EQ(profile.id.text(), "43484152-4D45-5241-8000-000000000002");
  EXPECT_EQ(profile.name, "Standard Camera Card");
  EXPECT_EQ(profile.kind, DeviceProfile::Kind::standardCameraCard);
  EXPECT_FALSE(profile.isEnabled);
  EXPECT_EQ(profile.mediaRoots, (std::vector<std::string>{"DCIM"}));
  EXPECT_EQ(profile.supportedExtensions, (std::set<std::string>{"jpg", "jpeg", "heic", "png", "mov", "mp4"}));
  EXPECT_TRUE(profile.matchRules.volumeNames.empty());
  EXPECT_EQ(profile.matchRules.volumeUUID, std::nullopt);
  EXPECT_EQ(profile.matchRules.requiredPaths, (std::vector<std::string>{"DCIM"}));
  EXPECT_EQ(profile.matchRules.filenamePattern, std::nullopt);
  EXPECT_EQ(profile.priority, 10);
  EXPECT_EQ(profile.securityScopedBookmark, std::nullopt);
}

TEST(DeviceProfile, builtInsAreTheCharmeraAndThenTheCard) {
  EXPECT_EQ(DeviceProfile::builtIns(),
            (std::vector{DeviceProfile::charmera(), DeviceProfile::standardCameraCard()}));
}

TEST(DeviceProfile, twoCallsOfABuiltInCompareEqualAndHashAlike) {
  EXPECT_EQ(DeviceProfile::charmera(), DeviceProfile::charmera());
  EXPECT_EQ(DeviceProfile::charmera().id, DeviceProfile::charmeraProfileID);
  const std::hash<DeviceProfile> hash;
  EXPECT_EQ(hash(DeviceProfile::charmera()), hash(DeviceProfile::charmera()));
}

// Each change is to one field. What it makes of `value` must differ from it, and no two hashes may be equal.
template <typename Value>
void expectEveryFieldCounts(const Value& value, const std::vector<std::function<void(Value&)>>& changes) {
  std::unordered_set<std::size_t> hashes = {std::hash<Value>()(value)};
  for (std::size_t index = 0; index < changes.size(); ++index) {
    Value changed = value;
    changes[index](changed);
    EXPECT_NE(changed, value) << "change " << index;
    EXPECT_TRUE(hashes.insert(std::hash<Value>()(changed)).second) << "change " << index;
  }
}

TEST(DeviceProfile, equalityAndHashingTakeEveryField) {
  expectEveryFieldCounts<DeviceProfile>(
      DeviceProfile::charmera(),
      {
          [](auto& profile) { profile.id = UUID{}; },
          [](auto& profile) { profile.name = "Other"; },
          [](auto& profile) { profile.kind = DeviceProfile::Kind::customMountedVolume; },
          [](auto& profile) { profile.isEnabled = false; },
          [](auto& profile) {
            profile.mediaRoots = {"SPIDCIM", "DCIM"};
          },
          [](auto& profile) { profile.supportedExtensions.erase("avi"); },
          [](auto& profile) { profile.matchRules.volumeNames = {"CARD"}; },
          [](auto& profile) { profile.priority = 99; },
          [](auto& profile) { profile.securityScopedBookmark.emplace(); },
      });
}

TEST(MatchRules, equalityAndHashingTakeEveryField) {
  using Rules = DeviceProfile::MatchRules;
  expectEveryFieldCounts<Rules>(DeviceProfile::charmera().matchRules,
                                {
                                    [](auto& rules) { rules.volumeNames = {"CARD"}; },
                                    [](auto& rules) { rules.volumeUUID = "1234-5678"; },
                                    [](auto& rules) { rules.requiredPaths = {"MISC"}; },
                                    [](auto& rules) { rules.filenamePattern = "^IMG_"; },
                                });
}

CameraAccessGrant sampleGrant() {
  return {.id = *UUID::fromText("11111111-2222-3333-4444-555555555555"),
          .profileID = DeviceProfile::charmeraProfileID,
          .name = "My camera",
          .volumeUUID = "1234-5678",
          .volumeNames = {"CHARMERA"},
          .bookmark = {std::byte{1}, std::byte{2}},
          .isEnabled = true};
}

TEST(CameraAccessGrant, applyingReplacesIdentityAndEvidenceAndKeepsTheMediaRules) {
  const CameraAccessGrant grant = sampleGrant();
  DeviceProfile expected = DeviceProfile::charmera();
  expected.id = grant.id;
  expected.name = "My camera";
  expected.isEnabled = true;
  expected.securityScopedBookmark = grant.bookmark;
  expected.matchRules.volumeUUID = "1234-5678";
  expected.matchRules.volumeNames = {"CHARMERA"};
  EXPECT_EQ(grant.applying(DeviceProfile::charmera()), expected);
  EXPECT_EQ(grant.applying(DeviceProfile::charmera()).matchRules.filenamePattern,
            DeviceProfile::charmera().matchRules.filenamePattern);
}

TEST(CameraAccessGrant, applyingAGrantWithoutUUIDClearsTheUUIDOfTheBase) {
  CameraAccessGrant grant = sampleGrant();
  grant.volumeUUID.reset();
  DeviceProfile base = DeviceProfile::charmera();
  base.matchRules.volumeUUID = "AAAA-BBBB";
  EXPECT_EQ(grant.applying(base).matchRules.volumeUUID, std::nullopt);
}

TEST(CameraAccessGrant, applyingADisabledGrantDisablesTheProfile) {
  CameraAccessGrant grant = sampleGrant();
  grant.isEnabled = false;
  EXPECT_FALSE(grant.applying(DeviceProfile::charmera()).isEnabled);
}

TEST(CameraAccessGrant, equalityAndHashingTakeEveryField) {
  expectEveryFieldCounts<CameraAccessGrant>(
      sampleGrant(), {
                         [](auto& grant) { grant.id = UUID{}; },
                         [](auto& grant) { grant.profileID = DeviceProfile::standardCameraProfileID; },
                         [](auto& grant) { grant.name = "Other"; },
                         [](auto& grant) { grant.volumeUUID = "AAAA-BBBB"; },
                         [](auto& grant) { grant.volumeNames = {"CARD"}; },
                         [](auto& grant) { grant.bookmark = {std::byte{3}}; },
                         [](auto& grant) { grant.isEnabled = false; },
                     });
}

CameraMediaFile fileAt(const std::string& path) {
  return {.url = FileURL(path),
          .volumeURL = FileURL("/media/card"),
          .relativePath = "DCIM/x",
          .filename = "PICT0001.JPG",
          .byteCount = 1,
          .modifiedAt = std::nullopt};
}

TEST(CameraMediaFile, isAVideoByTheExtensionOfItsURLInAnyCase) {
  EXPECT_TRUE(fileAt("/media/card/DCIM/MOVI0001.AVI").isVideo());
  EXPECT_TRUE(fileAt("/media/card/DCIM/a.mov").isVideo());
  EXPECT_TRUE(fileAt("/media/card/DCIM/a.Mp4").isVideo());
  EXPECT_FALSE(fileAt("/media/card/DCIM/a.m4v").isVideo());
  EXPECT_FALSE(fileAt("/media/card/DCIM/avi").isVideo());
  EXPECT_FALSE(fileAt("/media/card/DCIM/.avi").isVideo());
  EXPECT_FALSE(fileAt("/media/card/DCIM/a.jpg").isVideo());
}

TEST(CameraMediaFile, hashTellsAbsentFromPresentDates) {
  CameraMediaFile dated = fileAt("/media/card/a.jpg");
  dated.modifiedAt = Date();
  const std::hash<CameraMediaFile> hash;
  EXPECT_NE(hash(dated), hash(fileAt("/media/card/a.jpg")));
  EXPECT_NE(dated, fileAt("/media/card/a.jpg"));
}

TEST(CameraMediaFile, equalityAndHashingTakeEveryField) {
  expectEveryFieldCounts<CameraMediaFile>(fileAt("/media/card/a.jpg"),
                                          {
                                              [](auto& file) { file.url = FileURL("/media/card/b.jpg"); },
                                              [](auto& file) { file.volumeURL = FileURL("/media/other"); },
                                              [](auto& file) { file.relativePath = "DCIM/y"; },
                                              [](auto& file) { file.filename = "PICT0002.JPG"; },
                                              [](auto& file) { file.byteCount = 2; },
                                              [](auto& file) { file.modifiedAt = Date(); },
                                          });
}

TEST(DetectedDevice, equalityAndHashingTakeEveryField) {
  const DetectedDevice device{.volumeURL = FileURL("/media/card"),
                              .displayName = "card",
                              .profile = DeviceProfile::charmera(),
                              .files = {fileAt("/media/card/a.jpg")}};
  EXPECT_EQ(std::hash<DetectedDevice>()(device), std::hash<DetectedDevice>()(DetectedDevice(device)));
  expectEveryFieldCounts<DetectedDevice>(
      device, {
                  [](auto& other) { other.volumeURL = FileURL("/media/other"); },
                  [](auto& other) { other.displayName = "other"; },
                  [](auto& other) { other.profile = DeviceProfile::standardCameraCard(); },
                  [](auto& other) { other.files.clear(); },
              });
}

}  // namespace
}  // namespace tolvander
