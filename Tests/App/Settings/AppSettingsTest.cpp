#include "TolvanderApp/AppSettings.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Doubles/MemoryUserDefaults.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/DeviceProfileCoding.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::tests {

using app::AppSettings;
using app::LastSyncReceipt;

namespace {

constexpr std::string_view unreadableGrants =
    "Saved camera access could not be read. Add or reconnect each camera to restore access.";

const UUID charmeraID = DeviceProfile::charmeraProfileID;
const UUID standardID = DeviceProfile::standardCameraProfileID;

AppSettings::Bookmark bookmark(std::string_view text) { return bytesOf(text); }

DeviceProfile customProfile(std::string name, std::optional<std::string> volumeUUID = std::nullopt,
                            std::optional<AppSettings::Bookmark> saved = std::nullopt) {
  DeviceProfile profile;
  profile.id = UUID::random();
  profile.name = std::move(name);
  profile.isEnabled = true;
  profile.mediaRoots = {"DCIM"};
  profile.supportedExtensions = {"jpg"};
  profile.matchRules.volumeUUID = std::move(volumeUUID);
  profile.matchRules.volumeNames = {profile.name};
  profile.securityScopedBookmark = std::move(saved);
  return profile;
}

CameraAccessGrant grant(const UUID& id, const UUID& profileID, std::optional<std::string> volumeUUID,
                        std::vector<std::string> names, std::string_view saved, bool isEnabled = true) {
  return {.id = id,
          .profileID = profileID,
          .name = "Camera",
          .volumeUUID = std::move(volumeUUID),
          .volumeNames = std::move(names),
          .bookmark = bookmark(saved),
          .isEnabled = isEnabled};
}

class AppSettingsTest : public testing::Test {
 protected:
  void store(const std::vector<DeviceProfile>& profiles) {
    defaults_.setData("deviceProfiles", bytesOf(encodeDeviceProfiles(profiles)));
  }
  void store(const std::vector<CameraAccessGrant>& grants) {
    defaults_.setData("cameraAccessGrants", bytesOf(encodeCameraAccessGrants(grants)));
  }
  std::vector<DeviceProfile> storedProfiles() const {
    return decodeDeviceProfiles(defaults_.data("deviceProfiles").value());
  }
  std::vector<CameraAccessGrant> storedGrants() const {
    return decodeCameraAccessGrants(defaults_.data("cameraAccessGrants").value());
  }

  // What the next run of the program finds.
  AppSettings& restarted() {
    settings_.reset();
    return settings();
  }
  AppSettings& settings() {
    if (!settings_) {
      settings_.emplace(defaults_, mainThread_);
    }
    return *settings_;
  }

  MemoryUserDefaults defaults_;
  VirtualMainThread mainThread_;
  std::optional<AppSettings> settings_;
};

}  // namespace

// What is read at the start.

TEST_F(AppSettingsTest, beginsWithTheBuiltInCamerasAndWritesBothListsAtOnce) {
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
  EXPECT_TRUE(settings().cameraGrants().empty());
  EXPECT_FALSE(settings().savedCameraAccessError());
  EXPECT_EQ(storedProfiles(), DeviceProfile::builtIns());
  EXPECT_TRUE(storedGrants().empty());

  EXPECT_FALSE(settings().launchAtLogin());
  EXPECT_FALSE(settings().deleteAfterSync());
  EXPECT_FALSE(settings().autoEjectAfterSync());
  EXPECT_FALSE(settings().addToAlbum());
  EXPECT_EQ(settings().albumName(), "");
  EXPECT_FALSE(settings().onboardingCompleted());
  EXPECT_FALSE(settings().onboardingNeedsAttention());
  EXPECT_FALSE(settings().lastSyncReceipt());
}

TEST_F(AppSettingsTest, keepsEverySimpleValueUnderItsKey) {
  struct Property {
    const char* key;
    void (AppSettings::*set)(bool);
    bool (AppSettings::*get)() const;
  };
  const Property properties[] = {
      {"launchAtLogin", &AppSettings::setLaunchAtLogin, &AppSettings::launchAtLogin},
      {"deleteAfterSync", &AppSettings::setDeleteAfterSync, &AppSettings::deleteAfterSync},
      {"autoEjectAfterSync", &AppSettings::setAutoEjectAfterSync, &AppSettings::autoEjectAfterSync},
      {"addToAlbum", &AppSettings::setAddToAlbum, &AppSettings::addToAlbum},
      {"onboardingNeedsAttention", &AppSettings::setOnboardingNeedsAttention,
       &AppSettings::onboardingNeedsAttention},
      {"onboardingCompleted", &AppSettings::setOnboardingCompleted, &AppSettings::onboardingCompleted}};
  for (const Property& property : properties) {
    EXPECT_FALSE(defaults_.contains(property.key));
    (settings().*property.set)(true);
    EXPECT_TRUE((settings().*property.get)()) << property.key;
    EXPECT_EQ(defaults_.boolean(property.key), true) << property.key;
    EXPECT_TRUE((restarted().*property.get)()) << property.key;
    (settings().*property.set)(false);
    EXPECT_EQ(defaults_.boolean(property.key), false) << property.key;
    EXPECT_FALSE((restarted().*property.get)()) << property.key;
  }
  settings().setAlbumName("Charmera “trips”");
  EXPECT_EQ(defaults_.string("albumName"), "Charmera “trips”");
  EXPECT_EQ(restarted().albumName(), "Charmera “trips”");
}

TEST_F(AppSettingsTest, takesAValueOfAnotherTypeForMissing) {
  defaults_.setString("deleteAfterSync", "true");
  defaults_.setBoolean("albumName", true);
  defaults_.setBoolean("lastSyncReceipt", true);
  defaults_.setString("deviceProfiles", "[]");
  EXPECT_FALSE(settings().deleteAfterSync());
  EXPECT_EQ(settings().albumName(), "");
  EXPECT_FALSE(settings().lastSyncReceipt());
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
}

TEST_F(AppSettingsTest, keepsTheLastReceipt) {
  const LastSyncReceipt receipt{12, "Charmera", dateFromISO8601("2026-11-15T19:13:17Z").value(), 3};
  settings().setLastSyncReceipt(receipt);
  EXPECT_EQ(defaults_.data("lastSyncReceipt"), bytesOf(app::encodeLastSyncReceipt(receipt)));
  EXPECT_EQ(restarted().lastSyncReceipt(), receipt);
  settings().setLastSyncReceipt(std::nullopt);
  EXPECT_FALSE(defaults_.contains("lastSyncReceipt"));
  EXPECT_FALSE(restarted().lastSyncReceipt());
}

TEST_F(AppSettingsTest, readsAReceiptWithoutVideoCount) {
  defaults_.setData("lastSyncReceipt", bytesOf(R"({"count":7,"deviceName":"Card","completedAt":5})"));
  ASSERT_TRUE(settings().lastSyncReceipt());
  EXPECT_EQ(settings().lastSyncReceipt()->count, 7);
  EXPECT_FALSE(settings().lastSyncReceipt()->videoCount);
}

TEST_F(AppSettingsTest, hasNoReceiptWhereItCannotBeRead) {
  defaults_.setData("lastSyncReceipt", bytesOf(R"({"count":7})"));
  EXPECT_FALSE(settings().lastSyncReceipt());
}

// Profiles.

TEST_F(AppSettingsTest, switchesTheCharmeraOnWhateverWasSaved) {
  DeviceProfile saved = DeviceProfile::charmera();
  saved.isEnabled = false;
  store(std::vector{saved});
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
  EXPECT_TRUE(settings().deviceProfiles().at(0).isEnabled);
}

TEST_F(AppSettingsTest, keepsTheStandardCardsSwitchAndTheProgramsRules) {
  DeviceProfile saved = DeviceProfile::standardCameraCard();
  saved.isEnabled = true;
  saved.name = "An older name";
  saved.mediaRoots = {"OLD"};
  saved.supportedExtensions = {"bmp"};
  saved.priority = -5;
  saved.matchRules.requiredPaths = {"OLD"};
  saved.matchRules.volumeUUID = "AAAA";
  saved.matchRules.volumeNames = {"OLD"};
  store(std::vector{saved});
  DeviceProfile expected = DeviceProfile::standardCameraCard();
  expected.isEnabled = true;
  EXPECT_EQ(settings().deviceProfiles(), (std::vector{DeviceProfile::charmera(), expected}));
  EXPECT_EQ(storedProfiles(), settings().deviceProfiles());
}

TEST_F(AppSettingsTest, putsTheUsersOwnProfilesBehindTheBuiltInOnes) {
  const DeviceProfile first = customProfile("One");
  const DeviceProfile second = customProfile("Two", "BBBB");
  store(std::vector{first, DeviceProfile::standardCameraCard(), second, DeviceProfile::charmera()});
  const std::vector expected = {DeviceProfile::charmera(), DeviceProfile::standardCameraCard(), first,
                                second};
  EXPECT_EQ(settings().deviceProfiles(), expected);
  EXPECT_EQ(restarted().deviceProfiles(), expected);
}

TEST_F(AppSettingsTest, replacesAnUnreadableProfileListInSilence) {
  defaults_.setData("deviceProfiles", bytesOf("[{"));
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
  EXPECT_FALSE(settings().savedCameraAccessError());
  EXPECT_EQ(storedProfiles(), DeviceProfile::builtIns());
}

// Grants.

TEST_F(AppSettingsTest, keepsUnreadableGrantsUntilOneIsSaved) {
  const auto damaged = bytesOf(R"([{"id":)");
  defaults_.setData("cameraAccessGrants", damaged);
  EXPECT_TRUE(settings().cameraGrants().empty());
  EXPECT_EQ(settings().savedCameraAccessError(), unreadableGrants);
  EXPECT_EQ(defaults_.data("cameraAccessGrants"), damaged);

  settings().removeProfile(charmeraID);
  settings().setSecurityScopedBookmark(bookmark("b"), charmeraID);
  settings().addProfile(customProfile("One"));
  EXPECT_EQ(defaults_.data("cameraAccessGrants"), damaged);
  EXPECT_EQ(restarted().savedCameraAccessError(), unreadableGrants);

  settings().saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("b"));
  EXPECT_FALSE(settings().savedCameraAccessError());
  EXPECT_EQ(storedGrants(), settings().cameraGrants());
  EXPECT_EQ(storedGrants().size(), 1U);
  EXPECT_FALSE(restarted().savedCameraAccessError());
}

TEST_F(AppSettingsTest, doesNotTakeBookmarksFromProfilesWhileGrantsAreUnreadable) {
  DeviceProfile saved = DeviceProfile::charmera();
  saved.securityScopedBookmark = bookmark("old");
  store(std::vector{saved});
  defaults_.setData("cameraAccessGrants", bytesOf("x"));
  EXPECT_TRUE(settings().cameraGrants().empty());
  EXPECT_FALSE(settings().deviceProfiles().at(0).securityScopedBookmark);
}

TEST_F(AppSettingsTest, makesGrantsOfBookmarksThatEarlierVersionsKeptInProfiles) {
  DeviceProfile charmera = DeviceProfile::charmera();
  charmera.securityScopedBookmark = bookmark("charmera");
  charmera.matchRules.volumeUUID = "AAAA";
  charmera.matchRules.volumeNames = {"CHARMERA"};
  DeviceProfile disabled = customProfile("Two", "BBBB", bookmark("two"));
  disabled.isEnabled = false;
  const DeviceProfile without = customProfile("Three", "CCCC");
  store(std::vector{charmera, disabled, without});

  CameraAccessGrant first = grant(charmeraID, charmeraID, "AAAA", {"CHARMERA"}, "charmera");
  first.name = DeviceProfile::charmera().name;
  CameraAccessGrant second = grant(disabled.id, disabled.id, "BBBB", {"Two"}, "two", false);
  second.name = "Two";
  EXPECT_EQ(settings().cameraGrants(), (std::vector{first, second}));
  EXPECT_EQ(storedGrants(), settings().cameraGrants());

  DeviceProfile cleaned = disabled;
  cleaned.securityScopedBookmark.reset();
  EXPECT_EQ(settings().deviceProfiles(),
            (std::vector{DeviceProfile::charmera(), DeviceProfile::standardCameraCard(), cleaned, without}));
  EXPECT_EQ(storedProfiles(), settings().deviceProfiles());
  EXPECT_EQ(restarted().cameraGrants(), (std::vector{first, second}));
}

TEST_F(AppSettingsTest, leavesBookmarksInProfilesOutWhereGrantsAreStored) {
  store(std::vector<CameraAccessGrant>());
  DeviceProfile charmera = DeviceProfile::charmera();
  charmera.securityScopedBookmark = bookmark("charmera");
  store(std::vector{charmera});
  EXPECT_TRUE(settings().cameraGrants().empty());
  EXPECT_EQ(storedProfiles(), DeviceProfile::builtIns());
}

TEST_F(AppSettingsTest, keepsOneGrantForAVolumeThatIsGrantedTwice) {
  settings().saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("old"));
  settings().saveGrant(standardID, "Card", "AAAA", {"X"}, bookmark("new"));
  CameraAccessGrant expected = grant(charmeraID, standardID, "AAAA", {"X"}, "new");
  expected.name = "Card";
  EXPECT_EQ(settings().cameraGrants(), std::vector{expected});
  EXPECT_EQ(storedGrants(), std::vector{expected});
}

TEST_F(AppSettingsTest, enablesAGrantThatIsSavedAgain) {
  store(std::vector{grant(charmeraID, charmeraID, "AAAA", {}, "old", false)});
  settings().saveGrant(charmeraID, "Camera", "AAAA", {}, bookmark("new"));
  EXPECT_EQ(settings().cameraGrants(), std::vector{grant(charmeraID, charmeraID, "AAAA", {}, "new")});
}

TEST_F(AppSettingsTest, tellsVolumesWithoutUUIDByTheirNamesInOrder) {
  settings().saveGrant(charmeraID, "Charmera", "AAAA", {"A"}, bookmark("with UUID"));
  settings().saveGrant(charmeraID, "Charmera", std::nullopt, {"A"}, bookmark("1"));
  settings().saveGrant(charmeraID, "Charmera", std::nullopt, {"A", "B"}, bookmark("2"));
  settings().saveGrant(charmeraID, "Charmera", std::nullopt, {"B", "A"}, bookmark("3"));
  ASSERT_EQ(settings().cameraGrants().size(), 4U);
  settings().saveGrant(charmeraID, "Charmera", std::nullopt, {"A"}, bookmark("4"));
  ASSERT_EQ(settings().cameraGrants().size(), 4U);
  EXPECT_EQ(settings().cameraGrants()[0].bookmark, bookmark("with UUID"));
  EXPECT_EQ(settings().cameraGrants()[1].bookmark, bookmark("4"));
  EXPECT_EQ(settings().cameraGrants()[2].bookmark, bookmark("2"));
}

TEST_F(AppSettingsTest, givesTheSecondCharmeraAnIdentityOfItsOwn) {
  settings().saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("1"));
  settings().saveGrant(charmeraID, "Charmera", "BBBB", {}, bookmark("2"));
  const auto& grants = settings().cameraGrants();
  ASSERT_EQ(grants.size(), 2U);
  EXPECT_EQ(grants[0].id, charmeraID);
  EXPECT_NE(grants[1].id, charmeraID);
  EXPECT_EQ(grants[1].profileID, charmeraID);

  const auto profiles = settings().authorizedDeviceProfiles();
  ASSERT_EQ(profiles.size(), 2U);
  for (std::size_t index = 0; index < 2; ++index) {
    EXPECT_EQ(profiles[index], grants[index].applying(DeviceProfile::charmera()));
    EXPECT_EQ(profiles[index].kind, DeviceProfile::Kind::charmera);
  }
  EXPECT_EQ(profiles[1].id, grants[1].id);
}

TEST_F(AppSettingsTest, offersOnlyEnabledGrantsOfProfilesThatExist) {
  const auto grants = std::vector{grant(UUID::random(), UUID::random(), "AAAA", {}, "no profile"),
                                  grant(UUID::random(), standardID, "BBBB", {}, "disabled", false),
                                  grant(UUID::random(), charmeraID, "CCCC", {}, "good")};
  store(grants);
  EXPECT_EQ(settings().authorizedDeviceProfiles(),
            std::vector{grants[2].applying(DeviceProfile::charmera())});
  EXPECT_FALSE(settings().savedCameraAccessError());
  EXPECT_EQ(storedGrants(), grants);
}

TEST_F(AppSettingsTest, authorizesABuiltInCameraByItsVolume) {
  const TemporaryFolder folder;
  const VolumeResourceValues volume = volumeResourceValues(folder.url());
  ASSERT_TRUE(volume.uuid);
  settings().authorizeBuiltInProfile(charmeraID, folder.url(), bookmark("b"));
  ASSERT_EQ(settings().cameraGrants().size(), 1U);
  const CameraAccessGrant& saved = settings().cameraGrants()[0];
  EXPECT_EQ(saved.id, charmeraID);
  EXPECT_EQ(saved.name, volume.name);
  EXPECT_EQ(saved.volumeUUID, volume.uuid);
  EXPECT_TRUE(saved.volumeNames.empty());
  EXPECT_EQ(saved.bookmark, bookmark("b"));
}

TEST_F(AppSettingsTest, authorizesAVolumeThatTellsNothingByItsFolderName) {
  const TemporaryFolder folder;
  settings().authorizeBuiltInProfile(standardID, folder / "GONE", bookmark("b"));
  ASSERT_EQ(settings().cameraGrants().size(), 1U);
  const CameraAccessGrant& saved = settings().cameraGrants()[0];
  EXPECT_EQ(saved.name, "GONE");
  EXPECT_FALSE(saved.volumeUUID);
  EXPECT_EQ(saved.volumeNames, std::vector<std::string>{"GONE"});
}

TEST_F(AppSettingsTest, authorizesNoUnknownProfile) {
  const TemporaryFolder folder;
  settings().authorizeBuiltInProfile(UUID::random(), folder.url(), bookmark("b"));
  EXPECT_TRUE(settings().cameraGrants().empty());
}

// The user's own cameras.

TEST_F(AppSettingsTest, addsAProfileWithoutItsBookmarkWhichBecomesAGrant) {
  const DeviceProfile profile = customProfile("Mine", "AAAA", bookmark("b"));
  settings().addProfile(profile);
  DeviceProfile stored = profile;
  stored.securityScopedBookmark.reset();
  EXPECT_EQ(settings().deviceProfiles().back(), stored);
  EXPECT_EQ(storedProfiles(), settings().deviceProfiles());
  CameraAccessGrant expected = grant(profile.id, profile.id, "AAAA", {"Mine"}, "b");
  expected.name = "Mine";
  EXPECT_EQ(storedGrants(), std::vector{expected});
}

TEST_F(AppSettingsTest, addsAProfileWithoutBookmarkAndMakesNoGrant) {
  settings().addProfile(customProfile("Mine", "AAAA"));
  EXPECT_EQ(settings().deviceProfiles().size(), 3U);
  EXPECT_TRUE(settings().cameraGrants().empty());
}

TEST_F(AppSettingsTest, replacesAProfileOfTheSameIdentity) {
  DeviceProfile profile = customProfile("Mine");
  settings().addProfile(profile);
  settings().addProfile(customProfile("Other"));
  profile.name = "Renamed";
  settings().addProfile(profile);
  ASSERT_EQ(settings().deviceProfiles().size(), 4U);
  EXPECT_EQ(settings().deviceProfiles()[2].name, "Renamed");
}

TEST_F(AppSettingsTest, keepsTheVolumeOfABuiltInCameraBuiltIn) {
  settings().saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("old"));
  settings().addProfile(customProfile("Mine", "AAAA"));
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
  EXPECT_EQ(settings().cameraGrants().at(0).bookmark, bookmark("old"));

  settings().addProfile(customProfile("Mine", "AAAA", bookmark("new")));
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
  CameraAccessGrant expected = grant(charmeraID, charmeraID, "AAAA", {"Mine"}, "new");
  expected.name = "Mine";
  EXPECT_EQ(settings().cameraGrants(), std::vector{expected});
}

TEST_F(AppSettingsTest, replacesTheVolumesEarlierCustomProfile) {
  const DeviceProfile first = customProfile("First", "AAAA", bookmark("1"));
  settings().addProfile(first);
  settings().addProfile(customProfile("Second", "AAAA", bookmark("2")));
  ASSERT_EQ(settings().deviceProfiles().size(), 3U);
  EXPECT_EQ(settings().deviceProfiles()[2].id, first.id);
  EXPECT_EQ(settings().deviceProfiles()[2].name, "Second");
  ASSERT_EQ(settings().cameraGrants().size(), 1U);
  EXPECT_EQ(settings().cameraGrants()[0].id, first.id);
  EXPECT_EQ(settings().cameraGrants()[0].profileID, first.id);
  EXPECT_EQ(settings().cameraGrants()[0].bookmark, bookmark("2"));
}

TEST_F(AppSettingsTest, doesNotTakeVolumesWithoutUUIDForOneAnother) {
  settings().saveGrant(charmeraID, "Charmera", std::nullopt, {"A"}, bookmark("1"));
  settings().addProfile(customProfile("Mine"));
  EXPECT_EQ(settings().deviceProfiles().size(), 3U);
}

TEST_F(AppSettingsTest, removesTheGrantAndKeepsTheProfile) {
  const DeviceProfile profile = customProfile("Mine", "AAAA", bookmark("b"));
  settings().addProfile(profile);
  settings().saveGrant(charmeraID, "Charmera", "BBBB", {}, bookmark("c"));
  settings().removeProfile(profile.id);
  ASSERT_EQ(storedGrants().size(), 1U);
  EXPECT_EQ(storedGrants()[0].id, charmeraID);
  EXPECT_EQ(settings().deviceProfiles().size(), 3U);
  EXPECT_EQ(settings().authorizedDeviceProfiles().size(), 1U);
  settings().removeProfile(UUID::random());
  EXPECT_EQ(storedGrants().size(), 1U);
}

TEST_F(AppSettingsTest, replacesAndRemovesBookmarksByTheGrantsIdentity) {
  store(std::vector{grant(charmeraID, charmeraID, "AAAA", {}, "old", false)});
  settings().setSecurityScopedBookmark(bookmark("new"), charmeraID);
  EXPECT_EQ(storedGrants(), std::vector{grant(charmeraID, charmeraID, "AAAA", {}, "new", false)});
  settings().setSecurityScopedBookmark(std::nullopt, charmeraID);
  EXPECT_TRUE(storedGrants().empty());
  settings().setSecurityScopedBookmark(std::nullopt, charmeraID);
  EXPECT_TRUE(storedGrants().empty());
}

TEST_F(AppSettingsTest, makesAGrantOfABookmarkForAProfileThatHasNone) {
  DeviceProfile profile = customProfile("Mine", "AAAA");
  profile.isEnabled = false;
  settings().addProfile(profile);
  settings().setSecurityScopedBookmark(bookmark("b"), profile.id);
  CameraAccessGrant expected = grant(profile.id, profile.id, "AAAA", {"Mine"}, "b");
  expected.name = "Mine";
  EXPECT_EQ(storedGrants(), std::vector{expected});
  settings().setSecurityScopedBookmark(bookmark("b"), UUID::random());
  EXPECT_EQ(storedGrants(), std::vector{expected});
}

// Setup.

TEST_F(AppSettingsTest, asksForAttentionToASetupThatAnEarlierRunLeft) {
  settings().beginOnboardingSession();
  EXPECT_FALSE(settings().onboardingNeedsAttention());
  EXPECT_EQ(defaults_.boolean("onboardingSessionStarted"), true);
  restarted().beginOnboardingSession();
  EXPECT_TRUE(settings().onboardingNeedsAttention());
  EXPECT_EQ(defaults_.boolean("onboardingNeedsAttention"), true);
}

TEST_F(AppSettingsTest, endsAttentionWhenSetupIsComplete) {
  settings().beginOnboardingSession();
  settings().beginOnboardingSession();
  settings().setOnboardingCompleted(true);
  EXPECT_FALSE(settings().onboardingNeedsAttention());
  EXPECT_EQ(defaults_.boolean("onboardingNeedsAttention"), false);
  EXPECT_FALSE(defaults_.contains("onboardingSessionStarted"));
  settings().beginOnboardingSession();
  EXPECT_FALSE(defaults_.contains("onboardingSessionStarted"));
}

TEST_F(AppSettingsTest, keepsAttentionWhenSetupIsOpenedAgain) {
  settings().setOnboardingNeedsAttention(true);
  settings().setOnboardingCompleted(false);
  EXPECT_TRUE(settings().onboardingNeedsAttention());
}

// Observers and failures.

TEST_F(AppSettingsTest, tellsObserversOfEveryPropertysChange) {
  int notifications = 0;
  const auto subscription = settings().observe([&] { ++notifications; });
  const std::vector<std::function<void(AppSettings&)>> changes = {
      [](AppSettings& s) { s.setLaunchAtLogin(true); },
      [](AppSettings& s) { s.setDeleteAfterSync(true); },
      [](AppSettings& s) { s.setAutoEjectAfterSync(true); },
      [](AppSettings& s) { s.setAddToAlbum(true); },
      [](AppSettings& s) { s.setAlbumName("A"); },
      [](AppSettings& s) { s.setOnboardingNeedsAttention(true); },
      [](AppSettings& s) { s.setOnboardingCompleted(true); },
      [](AppSettings& s) { s.setLastSyncReceipt(LastSyncReceipt()); },
      [](AppSettings& s) { s.saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("b")); },
      [](AppSettings& s) { s.addProfile(customProfile("Mine")); },
      [](AppSettings& s) { s.setSecurityScopedBookmark(bookmark("c"), charmeraID); },
      [](AppSettings& s) { s.removeProfile(charmeraID); }};
  for (std::size_t index = 0; index < changes.size(); ++index) {
    changes[index](settings());
    mainThread_.runUntilIdle();
    EXPECT_EQ(notifications, static_cast<int>(index) + 1) << index;
  }
}

TEST_F(AppSettingsTest, keepsTheOldValueOfAChangeThatCannotBeStored) {
  settings().saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("b"));
  mainThread_.runUntilIdle();
  int notifications = 0;
  const auto subscription = settings().observe([&] { ++notifications; });
  defaults_.setFull(true);
  EXPECT_THROW(settings().setDeleteAfterSync(true), PosixError);
  EXPECT_THROW(settings().setAlbumName("A"), PosixError);
  EXPECT_THROW(settings().setLastSyncReceipt(LastSyncReceipt()), PosixError);
  EXPECT_THROW(settings().removeProfile(charmeraID), PosixError);
  EXPECT_THROW(settings().addProfile(customProfile("Mine")), PosixError);
  mainThread_.runUntilIdle();
  EXPECT_EQ(notifications, 0);
  EXPECT_FALSE(settings().deleteAfterSync());
  EXPECT_EQ(settings().albumName(), "");
  EXPECT_FALSE(settings().lastSyncReceipt());
  EXPECT_EQ(settings().cameraGrants().size(), 1U);
  EXPECT_EQ(settings().deviceProfiles(), DeviceProfile::builtIns());
}

TEST_F(AppSettingsTest, keepsTheErrorOfUnreadableGrantsWhileANewOneCannotBeStored) {
  const auto damaged = bytesOf("x");
  defaults_.setData("cameraAccessGrants", damaged);
  ASSERT_TRUE(settings().savedCameraAccessError());
  defaults_.setFull(true);
  EXPECT_THROW(settings().saveGrant(charmeraID, "Charmera", "AAAA", {}, bookmark("b")), PosixError);
  EXPECT_EQ(settings().savedCameraAccessError(), unreadableGrants);
  EXPECT_TRUE(settings().cameraGrants().empty());
  EXPECT_EQ(defaults_.data("cameraAccessGrants"), damaged);
}

// Values of one run

TEST(SettingsOverrides, countInThePlaceOfTheStoredValuesAndAreNotStored) {
  MemoryUserDefaults defaults;
  defaults.setBoolean("deleteAfterSync", true);
  defaults.setString("albumName", "Stored");
  VirtualMainThread mainThread;
  const AppSettings settings(defaults, mainThread,
                             {.deleteAfterSync = false, .autoEjectAfterSync = true, .album = "Run"});
  EXPECT_FALSE(settings.deleteAfterSync());
  EXPECT_TRUE(settings.autoEjectAfterSync());
  EXPECT_EQ(settings.albumForSync(), "Run");
  EXPECT_EQ(defaults.boolean("deleteAfterSync"), true);
  EXPECT_EQ(defaults.boolean("autoEjectAfterSync"), std::nullopt);
  EXPECT_EQ(defaults.string("albumName"), "Stored");
  EXPECT_EQ(defaults.boolean("addToAlbum"), std::nullopt);
}

TEST(SettingsOverrides, leaveTheOtherValuesAsTheyAreStored) {
  MemoryUserDefaults defaults;
  defaults.setBoolean("deleteAfterSync", true);
  defaults.setBoolean("autoEjectAfterSync", true);
  defaults.setBoolean("addToAlbum", true);
  defaults.setString("albumName", " Stored\n");
  const app::StoredSettings settings(defaults, {});
  EXPECT_TRUE(settings.deleteAfterSync());
  EXPECT_TRUE(settings.autoEjectAfterSync());
  EXPECT_EQ(settings.albumForSync(), "Stored");
}

TEST(SettingsOverrides, endWithAChangeThatIsStored) {
  MemoryUserDefaults defaults;
  VirtualMainThread mainThread;
  AppSettings settings(defaults, mainThread, {.deleteAfterSync = true, .album = "Run"});
  settings.setDeleteAfterSync(false);
  settings.setAlbumName("Changed");
  EXPECT_FALSE(settings.deleteAfterSync());
  EXPECT_EQ(settings.albumForSync(), "Changed");
  EXPECT_EQ(defaults.boolean("deleteAfterSync"), false);
  EXPECT_EQ(defaults.string("albumName"), "Changed");
}

TEST(SettingsOverrides, stayWhereAChangeCannotBeStored) {
  MemoryUserDefaults defaults;
  VirtualMainThread mainThread;
  AppSettings settings(defaults, mainThread, {.deleteAfterSync = true});
  defaults.setFull(true);
  EXPECT_THROW(settings.setDeleteAfterSync(false), PosixError);
  EXPECT_TRUE(settings.deleteAfterSync());
}

TEST(StoredSettings, bringProfilesIntoTheirPresentFormWithoutWriting) {
  MemoryUserDefaults defaults;
  defaults.setData("deviceProfiles",
                   bytesOf(encodeDeviceProfiles({customProfile("CARD", {}, bookmark("b"))})));
  defaults.setFull(true);
  const app::StoredSettings settings(defaults);
  ASSERT_EQ(settings.cameraGrants().size(), 1U);
  EXPECT_EQ(settings.cameraGrants().front().bookmark, bookmark("b"));
  EXPECT_EQ(settings.authorizedDeviceProfiles().size(), 1U);
  EXPECT_FALSE(defaults.contains("cameraAccessGrants"));
}

}  // namespace tolvander::tests
