#include "TolvanderCore/DeviceProfileCoding.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "TolvanderCore/JSON/DecodingError.h"

namespace tolvander {
namespace {

using tests::bytesOf;

const std::string fullProfile = R"({"id":"11111111-2222-3333-4444-55555555aaaa","name":"Card / \"x\"",
  "kind":"customMountedVolume","isEnabled":true,"mediaRoots":["DCIM",""],"supportedExtensions":["png","jpg"],
  "matchRules":{"volumeNames":["CARD"],"volumeUUID":"1234-5678","requiredPaths":["DCIM"],"filenamePattern":"^a$"},
  "priority":80,"securityScopedBookmark":"AAEC"})";

std::string without(std::string json, const std::string& text) {
  const std::size_t position = json.find(text);
  EXPECT_NE(position, std::string::npos) << text;
  return json.erase(position, text.size());
}

std::string replacing(std::string json, const std::string& text, const std::string& by) {
  const std::size_t position = json.find(text);
  EXPECT_NE(position, std::string::npos) << text;
  return json.replace(position, text.size(), by);
}

std::vector<DeviceProfile> decode(const std::string& profile) {
  return decodeDeviceProfiles(bytesOf("[" + profile + "]"));
}

TEST(DeviceProfileCoding, readsEveryField) {
  const DeviceProfile profile = decode(fullProfile).at(0);
  EXPECT_EQ(profile.id.text(), "11111111-2222-3333-4444-55555555AAAA");
  EXPECT_EQ(profile.name, "Card / \"x\"");
  EXPECT_EQ(profile.kind, DeviceProfile::Kind::customMountedVolume);
  EXPECT_TRUE(profile.isEnabled);
  EXPECT_EQ(profile.mediaRoots, (std::vector<std::string>{"DCIM", ""}));
  EXPECT_EQ(profile.supportedExtensions, (std::set<std::string>{"jpg", "png"}));
  EXPECT_EQ(profile.matchRules.volumeNames, (std::vector<std::string>{"CARD"}));
  EXPECT_EQ(profile.matchRules.volumeUUID, "1234-5678");
  EXPECT_EQ(profile.matchRules.requiredPaths, (std::vector<std::string>{"DCIM"}));
  EXPECT_EQ(profile.matchRules.filenamePattern, "^a$");
  EXPECT_EQ(profile.priority, 80);
  EXPECT_EQ(profile.securityScopedBookmark, bytesOf(std::string_view("\0\1\2", 3)));
}

TEST(DeviceProfileCoding, writesTheBuiltInsUnderTheirFieldNamesWithoutAbsentOnes) {
  EXPECT_EQ(encodeDeviceProfiles({DeviceProfile::standardCameraCard()}),
            R"([{"id":"43484152-4D45-5241-8000-000000000002","name":"Standard Camera Card",)"
            R"("kind":"standardCameraCard","isEnabled":false,"mediaRoots":["DCIM"],)"
            R"("supportedExtensions":["heic","jpeg","jpg","mov","mp4","png"],)"
            R"("matchRules":{"volumeNames":[],"requiredPaths":["DCIM"]},"priority":10}])");
}

TEST(DeviceProfileCoding, readsBackWhatItWrote) {
  std::vector<DeviceProfile> profiles = DeviceProfile::builtIns();
  profiles.push_back(decode(fullProfile).at(0));
  EXPECT_EQ(decodeDeviceProfiles(bytesOf(encodeDeviceProfiles(profiles))), profiles);
  EXPECT_EQ(decodeDeviceProfiles(bytesOf("[]")), std::vector<DeviceProfile>());
}

TEST(DeviceProfileCoding, optionalKeysMayBeMissing) {
  EXPECT_EQ(decode(without(fullProfile, R"(,"securityScopedBookmark":"AAEC")")).at(0).securityScopedBookmark,
            std::nullopt);
  EXPECT_EQ(decode(without(fullProfile, R"("volumeUUID":"1234-5678",)")).at(0).matchRules.volumeUUID,
            std::nullopt);
  EXPECT_EQ(decode(without(fullProfile, R"(,"filenamePattern":"^a$")")).at(0).matchRules.filenamePattern,
            std::nullopt);
}

TEST(DeviceProfileCoding, everyOtherKeyIsRequired) {
  for (const char* key :
       {R"("id":"11111111-2222-3333-4444-55555555aaaa",)", R"("name":"Card / \"x\"",)",
        R"("kind":"customMountedVolume",)", R"("isEnabled":true,)", R"("mediaRoots":["DCIM",""],)",
        R"("supportedExtensions":["png","jpg"],)", R"("volumeNames":["CARD"],)",
        R"("requiredPaths":["DCIM"],)", R"("priority":80,)"}) {
    EXPECT_THROW(decode(without(fullProfile, key)), DecodingError) << key;
  }
  EXPECT_THROW(
      decode(R"({"id":"11111111-2222-3333-4444-55555555aaaa","name":"n","kind":"charmera","isEnabled":true,
                          "mediaRoots":[],"supportedExtensions":[],"priority":1})"),
      DecodingError);
}

TEST(DeviceProfileCoding, wrongTypesAndUnknownKindsFailTheWholeList) {
  for (const auto& [text, by] : std::vector<std::pair<std::string, std::string>>{
           {R"("kind":"customMountedVolume")", R"("kind":"Charmera")"},
           {R"("isEnabled":true)", R"("isEnabled":1)"},
           {R"("priority":80)", R"("priority":"80")"},
           {R"("priority":80)", R"("priority":80.5)"},
           {R"("priority":80)", R"("priority":null)"},
           {R"("mediaRoots":["DCIM",""])", R"("mediaRoots":"DCIM")"},
           {R"("mediaRoots":["DCIM",""])", R"("mediaRoots":["DCIM",null])"},
           {R"("id":"11111111-2222-3333-4444-55555555aaaa")", R"("id":"1")"},
           {R"("volumeUUID":"1234-5678")", R"("volumeUUID":7)"},
           {R"("securityScopedBookmark":"AAEC")", R"("securityScopedBookmark":"AAE")"},
           {R"("name":)", R"("name":"twice","name":)"},
       }) {
    const std::string broken = replacing(fullProfile, text, by);
    EXPECT_THROW(decodeDeviceProfiles(bytesOf("[" + fullProfile + "," + broken + "]")), DecodingError) << by;
  }
  EXPECT_THROW(decodeDeviceProfiles(bytesOf(fullProfile)), DecodingError) << "not a list";
  EXPECT_THROW(decodeDeviceProfiles(bytesOf("")), DecodingError);
}

const std::string fullGrant = R"({"id":"11111111-2222-3333-4444-555555555555",
  "profileID":"43484152-4D45-5241-8000-000000000001","name":"Cam","volumeUUID":"1234-5678","volumeNames":["A","b"],
  "bookmark":"/+8=","isEnabled":false})";

TEST(CameraAccessGrantCoding, readsEveryFieldAndWritesItBack) {
  const auto grants = decodeCameraAccessGrants(bytesOf("[" + fullGrant + "]"));
  ASSERT_EQ(grants.size(), 1U);
  EXPECT_EQ(grants[0].profileID, DeviceProfile::charmeraProfileID);
  EXPECT_EQ(grants[0].volumeUUID, "1234-5678");
  EXPECT_EQ(grants[0].volumeNames, (std::vector<std::string>{"A", "b"}));
  EXPECT_EQ(grants[0].bookmark, bytesOf("\xFF\xEF"));
  EXPECT_FALSE(grants[0].isEnabled);
  EXPECT_EQ(
      encodeCameraAccessGrants(grants),
      R"([{"id":"11111111-2222-3333-4444-555555555555","profileID":"43484152-4D45-5241-8000-000000000001",)"
      R"("name":"Cam","volumeUUID":"1234-5678","volumeNames":["A","b"],"bookmark":"\/+8=","isEnabled":false}])");
}

TEST(CameraAccessGrantCoding, onlyTheVolumeUUIDMayBeMissing) {
  const auto decodeGrant = [](const std::string& grant) {
    return decodeCameraAccessGrants(bytesOf("[" + grant + "]"));
  };
  EXPECT_EQ(decodeGrant(without(fullGrant, R"("volumeUUID":"1234-5678",)")).at(0).volumeUUID, std::nullopt);
  for (const char* key : {R"("id":"11111111-2222-3333-4444-555555555555",)",
                          R"("profileID":"43484152-4D45-5241-8000-000000000001",)", R"("name":"Cam",)",
                          R"("volumeNames":["A","b"],)", R"("bookmark":"/+8=",)", R"(,"isEnabled":false)"}) {
    EXPECT_THROW(decodeGrant(without(fullGrant, key)), DecodingError) << key;
  }
}

}  // namespace
}  // namespace tolvander
