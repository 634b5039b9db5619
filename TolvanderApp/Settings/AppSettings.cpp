#include "TolvanderApp/AppSettings.h"

#include <algorithm>
#include <span>
#include <utility>

#include "TolvanderCore/DeviceProfileCoding.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/DecodingError.h"
#include "TolvanderCore/Platform/Text.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::app {

namespace {

constexpr std::string_view launchAtLoginKey = "launchAtLogin";
constexpr std::string_view deleteAfterSyncKey = "deleteAfterSync";
constexpr std::string_view autoEjectAfterSyncKey = "autoEjectAfterSync";
constexpr std::string_view addToAlbumKey = "addToAlbum";
constexpr std::string_view albumNameKey = "albumName";
constexpr std::string_view cameraGrantsKey = "cameraAccessGrants";
constexpr std::string_view deviceProfilesKey = "deviceProfiles";
constexpr std::string_view onboardingCompletedKey = "onboardingCompleted";
constexpr std::string_view onboardingNeedsAttentionKey = "onboardingNeedsAttention";
constexpr std::string_view onboardingSessionStartedKey = "onboardingSessionStarted";
constexpr std::string_view lastSyncReceiptKey = "lastSyncReceipt";
constexpr std::string_view setAsideFilesKey = "setAsideFiles";

constexpr std::string_view unreadableGrants =
    "Saved camera access could not be read. Add or reconnect each camera to restore access.";

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

// What the bytes under a key mean; absent where there are none, or none that can be understood.
template <typename Decode>
auto decoded(const UserDefaults& defaults, std::string_view key, Decode decode)
    -> std::optional<decltype(decode(std::span<const std::byte>()))> {
  const auto bytes = defaults.data(key);
  if (!bytes) {
    return std::nullopt;
  }
  try {
    return decode(*bytes);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

bool isBuiltIn(const UUID& profileID) {
  return profileID == DeviceProfile::charmeraProfileID || profileID == DeviceProfile::standardCameraProfileID;
}

template <typename Values>
auto withID(Values& values, const UUID& id) {
  return std::ranges::find_if(values, [&](const auto& value) { return value.id == id; });
}

// Of a built-in camera only what the user decides comes from the stored profile; its rules are the program's.
DeviceProfile builtInProfile(DeviceProfile profile, const std::vector<DeviceProfile>& savedProfiles) {
  if (const auto saved = withID(savedProfiles, profile.id); saved != savedProfiles.end()) {
    profile.isEnabled = saved->isEnabled;
    profile.securityScopedBookmark = saved->securityScopedBookmark;
    if (saved->securityScopedBookmark) {
      profile.matchRules.volumeUUID = saved->matchRules.volumeUUID;
      profile.matchRules.volumeNames = saved->matchRules.volumeNames;
    }
  }
  if (profile.kind == DeviceProfile::Kind::charmera) {
    profile.isEnabled = true;  // it can't be switched off
  }
  return profile;
}

// The program's cameras, then the user's own.
std::vector<DeviceProfile> currentProfiles(const std::vector<DeviceProfile>& savedProfiles) {
  std::vector<DeviceProfile> profiles;
  for (DeviceProfile& builtIn : DeviceProfile::builtIns()) {
    profiles.push_back(builtInProfile(std::move(builtIn), savedProfiles));
  }
  std::ranges::copy_if(savedProfiles, std::back_inserter(profiles),
                       [](const DeviceProfile& profile) { return !isBuiltIn(profile.id); });
  return profiles;
}

CameraAccessGrant grantOf(const DeviceProfile& profile, const AppSettings::Bookmark& bookmark,
                          bool isEnabled) {
  return {.id = profile.id,
          .profileID = profile.id,
          .name = profile.name,
          .volumeUUID = profile.matchRules.volumeUUID,
          .volumeNames = profile.matchRules.volumeNames,
          .bookmark = bookmark,
          .isEnabled = isEnabled};
}

// Earlier versions kept bookmarks in the profiles.
std::vector<CameraAccessGrant> grantsFromProfiles(const std::vector<DeviceProfile>& profiles) {
  std::vector<CameraAccessGrant> grants;
  for (const DeviceProfile& profile : profiles) {
    if (profile.securityScopedBookmark) {
      grants.push_back(grantOf(profile, *profile.securityScopedBookmark, profile.isEnabled));
    }
  }
  return grants;
}

DeviceProfile withoutAccess(DeviceProfile profile) {
  profile.securityScopedBookmark.reset();
  if (isBuiltIn(profile.id)) {
    profile.matchRules.volumeUUID.reset();
    profile.matchRules.volumeNames.clear();
  }
  return profile;
}

VolumeResourceValues readableVolumeValues(const FileURL& volumeURL) {
  try {
    return volumeResourceValues(volumeURL);
  } catch (const PosixError&) {
    return {};
  }
}

}  // namespace

StoredSettings::StoredSettings(const UserDefaults& defaults, const SettingsOverrides& overrides) {
  readSimpleValues(defaults);
  apply(overrides);
  const auto saved = decoded(defaults, deviceProfilesKey, decodeDeviceProfiles);
  std::vector<DeviceProfile> profiles = currentProfiles(saved.value_or(std::vector<DeviceProfile>()));
  readGrants(defaults, profiles);
  std::ranges::transform(profiles, profiles.begin(), withoutAccess);
  deviceProfiles_ = std::move(profiles);
}

void StoredSettings::readSimpleValues(const UserDefaults& defaults) {
  launchAtLogin_ = defaults.boolean(launchAtLoginKey).value_or(false);
  deleteAfterSync_ = defaults.boolean(deleteAfterSyncKey).value_or(false);
  autoEjectAfterSync_ = defaults.boolean(autoEjectAfterSyncKey).value_or(false);
  addToAlbum_ = defaults.boolean(addToAlbumKey).value_or(false);
  albumName_ = defaults.string(albumNameKey).value_or("");
  onboardingCompleted_ = defaults.boolean(onboardingCompletedKey).value_or(false);
  onboardingNeedsAttention_ = defaults.boolean(onboardingNeedsAttentionKey).value_or(false);
  lastSyncReceipt_ = decoded(defaults, lastSyncReceiptKey, decodeLastSyncReceipt);
  setAsideFiles_ = decoded(defaults, setAsideFilesKey, decodeSetAsideFiles).value_or(SetAsideFiles());
}

void StoredSettings::readGrants(const UserDefaults& defaults, const std::vector<DeviceProfile>& profiles) {
  if (!defaults.data(cameraGrantsKey)) {
    cameraGrants_ = grantsFromProfiles(profiles);
  } else if (auto grants = decoded(defaults, cameraGrantsKey, decodeCameraAccessGrants)) {
    cameraGrants_ = *std::move(grants);
  } else {
    savedCameraAccessError_ = unreadableGrants;
  }
}

void StoredSettings::apply(const SettingsOverrides& overrides) {
  deleteAfterSync_ = overrides.deleteAfterSync.value_or(deleteAfterSync_);
  autoEjectAfterSync_ = overrides.autoEjectAfterSync.value_or(autoEjectAfterSync_);
  if (overrides.album) {
    addToAlbum_ = true;
    albumName_ = *overrides.album;
  }
}

std::optional<std::string> StoredSettings::albumForSync() const {
  const std::string name(trimmingWhitespaceAndNewlines(albumName_));
  return addToAlbum_ && !name.empty() ? std::optional(name) : std::nullopt;
}

AppSettings::AppSettings(UserDefaults& defaults, MainThread& mainThread, const SettingsOverrides& overrides)
    : StoredSettings(defaults, overrides), defaults_(defaults), notifier_(mainThread) {
  storeGrants(cameraGrants_);
  storeProfiles(deviceProfiles_);
}

void AppSettings::setBoolean(bool& property, std::string_view key, bool value) {
  defaults_.setBoolean(key, value);
  property = value;
  notifier_.changed();
}

void AppSettings::setLaunchAtLogin(bool value) { setBoolean(launchAtLogin_, launchAtLoginKey, value); }

void AppSettings::setDeleteAfterSync(bool value) { setBoolean(deleteAfterSync_, deleteAfterSyncKey, value); }

void AppSettings::setAutoEjectAfterSync(bool value) {
  setBoolean(autoEjectAfterSync_, autoEjectAfterSyncKey, value);
}

void AppSettings::setAddToAlbum(bool value) { setBoolean(addToAlbum_, addToAlbumKey, value); }

void AppSettings::setAlbumName(std::string name) {
  defaults_.setString(albumNameKey, name);
  albumName_ = std::move(name);
  notifier_.changed();
}

void AppSettings::setOnboardingNeedsAttention(bool value) {
  setBoolean(onboardingNeedsAttention_, onboardingNeedsAttentionKey, value);
}

void AppSettings::setLastSyncReceipt(std::optional<LastSyncReceipt> receipt) {
  if (receipt) {
    defaults_.setData(lastSyncReceiptKey, bytesOf(encodeLastSyncReceipt(*receipt)));
  } else {
    defaults_.remove(lastSyncReceiptKey);
  }
  lastSyncReceipt_ = std::move(receipt);
  notifier_.changed();
}

void AppSettings::setSetAsideFiles(SetAsideFiles files) {
  defaults_.setData(setAsideFilesKey, bytesOf(encodeSetAsideFiles(files)));
  setAsideFiles_ = std::move(files);
  notifier_.changed();
}

void AppSettings::setOnboardingCompleted(bool value) {
  setBoolean(onboardingCompleted_, onboardingCompletedKey, value);
  if (value) {
    setOnboardingNeedsAttention(false);
    defaults_.remove(onboardingSessionStartedKey);
  }
}

void AppSettings::beginOnboardingSession() {
  if (onboardingCompleted_) {
    return;
  }
  if (defaults_.boolean(onboardingSessionStartedKey).value_or(false)) {
    setOnboardingNeedsAttention(true);
  }
  defaults_.setBoolean(onboardingSessionStartedKey, true);
}

void AppSettings::authorizeBuiltInProfile(const UUID& id, const FileURL& volumeURL,
                                          const Bookmark& bookmark) {
  if (withID(deviceProfiles_, id) == deviceProfiles_.end()) {
    return;
  }
  const VolumeResourceValues volume = readableVolumeValues(volumeURL);
  const std::string name = volume.name.value_or(std::string(volumeURL.lastPathComponent()));
  const auto names = volume.uuid ? std::vector<std::string>() : std::vector{name};
  saveGrant(id, name, volume.uuid, names, bookmark);
}

void AppSettings::addProfile(const DeviceProfile& profile) {
  const auto& rules = profile.matchRules;
  DeviceProfile copy = profile;
  copy.securityScopedBookmark.reset();
  const auto known = std::ranges::find_if(cameraGrants_, [&](const CameraAccessGrant& grant) {
    return rules.volumeUUID && grant.volumeUUID == rules.volumeUUID;
  });
  if (known != cameraGrants_.end() && isBuiltIn(known->profileID)) {
    if (profile.securityScopedBookmark) {
      const UUID profileID = known->profileID;
      saveGrant(profileID, profile.name, rules.volumeUUID, rules.volumeNames,
                *profile.securityScopedBookmark);
    }
    return;
  }
  if (known != cameraGrants_.end()) {
    copy.id = known->profileID;
  }
  std::vector<DeviceProfile> profiles = deviceProfiles_;
  if (const auto earlier = withID(profiles, copy.id); earlier != profiles.end()) {
    *earlier = copy;
  } else {
    profiles.push_back(copy);
  }
  setProfiles(std::move(profiles));
  if (profile.securityScopedBookmark) {
    saveGrant(copy.id, profile.name, rules.volumeUUID, rules.volumeNames, *profile.securityScopedBookmark);
  }
}

void AppSettings::removeProfile(const UUID& id) {
  std::vector<CameraAccessGrant> grants = cameraGrants_;
  std::erase_if(grants, [&](const CameraAccessGrant& grant) { return grant.id == id; });
  setGrants(std::move(grants));
}

std::vector<DeviceProfile> StoredSettings::authorizedDeviceProfiles() const {
  std::vector<DeviceProfile> profiles;
  for (const CameraAccessGrant& grant : cameraGrants_) {
    const auto profile = withID(deviceProfiles_, grant.profileID);
    if (grant.isEnabled && profile != deviceProfiles_.end()) {
      profiles.push_back(grant.applying(*profile));
    }
  }
  return profiles;
}

void AppSettings::setSecurityScopedBookmark(const std::optional<Bookmark>& bookmark, const UUID& id) {
  std::vector<CameraAccessGrant> grants = cameraGrants_;
  if (const auto grant = withID(grants, id); grant != grants.end()) {
    if (bookmark) {
      grant->bookmark = *bookmark;
    } else {
      grants.erase(grant);
    }
  } else {
    const auto profile = withID(deviceProfiles_, id);
    if (!bookmark || profile == deviceProfiles_.end()) {
      return;
    }
    grants.push_back(grantOf(*profile, *bookmark, true));
  }
  setGrants(std::move(grants));
}

void AppSettings::saveGrant(const UUID& profileID, const std::string& name,
                            const std::optional<std::string>& volumeUUID,
                            const std::vector<std::string>& volumeNames, const Bookmark& bookmark) {
  CameraAccessGrant saved{.id = profileID,
                          .profileID = profileID,
                          .name = name,
                          .volumeUUID = volumeUUID,
                          .volumeNames = volumeNames,
                          .bookmark = bookmark,
                          .isEnabled = true};
  std::vector<CameraAccessGrant> grants = cameraGrants_;
  const auto earlier = std::ranges::find_if(grants, [&](const CameraAccessGrant& grant) {
    return grant.volumeUUID == volumeUUID && (volumeUUID || grant.volumeNames == volumeNames);
  });
  if (earlier != grants.end()) {
    saved.id = earlier->id;
    *earlier = std::move(saved);
  } else {
    if (withID(grants, profileID) != grants.end()) {
      saved.id = UUID::random();
    }
    grants.push_back(std::move(saved));
  }
  // Only a grant that is stored ends the error: should the storing fail, the unreadable bytes are still
  // there.
  const auto error = std::exchange(savedCameraAccessError_, std::nullopt);
  try {
    setGrants(std::move(grants));
  } catch (...) {
    savedCameraAccessError_ = error;
    throw;
  }
}

void AppSettings::setGrants(std::vector<CameraAccessGrant> grants) {
  storeGrants(grants);
  cameraGrants_ = std::move(grants);
  notifier_.changed();
}

void AppSettings::setProfiles(std::vector<DeviceProfile> profiles) {
  storeProfiles(profiles);
  deviceProfiles_ = std::move(profiles);
  notifier_.changed();
}

// Never overwrites stored grants that can't be read: another version of the program may be able to read them.
void AppSettings::storeGrants(const std::vector<CameraAccessGrant>& grants) {
  if (!savedCameraAccessError_) {
    defaults_.setData(cameraGrantsKey, bytesOf(encodeCameraAccessGrants(grants)));
  }
}

void AppSettings::storeProfiles(const std::vector<DeviceProfile>& profiles) {
  defaults_.setData(deviceProfilesKey, bytesOf(encodeDeviceProfiles(profiles)));
}

}  // namespace tolvander::app
