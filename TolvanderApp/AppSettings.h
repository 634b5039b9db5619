#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderApp/Concurrency/ChangeNotifier.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderApp/Platform/UserDefaults.h"
#include "TolvanderApp/SetAsideFile.h"
#include "TolvanderCore/CameraAccessGrant.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// Values of this run, which count in the place of the stored ones and are never stored.
struct SettingsOverrides {
  std::optional<bool> deleteAfterSync{};
  std::optional<bool> autoEjectAfterSync{};
  std::optional<std::string> album{};  // syncs fill this one
};

// The preferences as they are stored, brought into their present form. What a camera is (its profile) and the
// access to one particular volume (a grant) are kept apart: a stored profile never holds a bookmark. Writes
// nothing.
class StoredSettings {
 public:
  // Reads everything. Data that can't be decoded counts as absent, but for the grants, see below.
  explicit StoredSettings(const UserDefaults& defaults, const SettingsOverrides& overrides = {});

  bool launchAtLogin() const { return launchAtLogin_; }
  bool deleteAfterSync() const { return deleteAfterSync_; }
  bool autoEjectAfterSync() const { return autoEjectAfterSync_; }
  bool addToAlbum() const { return addToAlbum_; }
  const std::string& albumName() const { return albumName_; }
  bool onboardingCompleted() const { return onboardingCompleted_; }
  bool onboardingNeedsAttention() const { return onboardingNeedsAttention_; }
  const std::optional<LastSyncReceipt>& lastSyncReceipt() const { return lastSyncReceipt_; }
  const SetAsideFiles& setAsideFiles() const { return setAsideFiles_; }
  const std::vector<DeviceProfile>& deviceProfiles() const { return deviceProfiles_; }
  const std::vector<CameraAccessGrant>& cameraGrants() const { return cameraGrants_; }

  // Words for the user while the stored grants can't be read. They stay as they are until a grant is saved.
  const std::optional<std::string>& savedCameraAccessError() const { return savedCameraAccessError_; }

  // The album that syncs fill: its name without spaces around it. Absent where they fill none.
  std::optional<std::string> albumForSync() const;

  // One profile for each enabled grant, with the identity and the bookmark of the grant, in the grants'
  // order.
  std::vector<DeviceProfile> authorizedDeviceProfiles() const;

 protected:
  bool launchAtLogin_ = false;
  bool deleteAfterSync_ = false;
  bool autoEjectAfterSync_ = false;
  bool addToAlbum_ = false;
  std::string albumName_;
  std::optional<std::string> savedCameraAccessError_;
  std::vector<CameraAccessGrant> cameraGrants_;
  std::vector<DeviceProfile> deviceProfiles_;
  bool onboardingCompleted_ = false;
  bool onboardingNeedsAttention_ = false;
  std::optional<LastSyncReceipt> lastSyncReceipt_;
  SetAsideFiles setAsideFiles_;

 private:
  void readSimpleValues(const UserDefaults& defaults);
  void readGrants(const UserDefaults& defaults, const std::vector<DeviceProfile>& profiles);
  void apply(const SettingsOverrides& overrides);
};

// The application's one store of preferences, on top of the user defaults.
//
// Belongs to the main thread. Every change is written through before the operation returns, and replaces an
// override. Each operation that changes something throws what UserDefaults throws; a property whose value
// couldn't be stored keeps the old one, and no observer is called.
class AppSettings : public StoredSettings {
 public:
  using Bookmark = std::vector<std::byte>;

  // Reads everything, and writes profiles and grants in their present form. `defaults` and `mainThread`
  // outlive the settings.
  AppSettings(UserDefaults& defaults, MainThread& mainThread, const SettingsOverrides& overrides = {});
  AppSettings(const AppSettings&) = delete;
  AppSettings& operator=(const AppSettings&) = delete;

  // The observer is called, from a function posted on the main thread, after one or more properties have
  // changed, for as long as the subscription lives.
  Subscription observe(std::function<void()> observer) { return notifier_.observe(std::move(observer)); }

  void setLaunchAtLogin(bool value);
  void setDeleteAfterSync(bool value);
  void setAutoEjectAfterSync(bool value);
  void setAddToAlbum(bool value);
  void setAlbumName(std::string name);
  void setOnboardingNeedsAttention(bool value);
  void setLastSyncReceipt(std::optional<LastSyncReceipt> receipt);
  void setSetAsideFiles(SetAsideFiles files);

  // `true` also resets `onboardingNeedsAttention` and the mark that setup was begun.
  void setOnboardingCompleted(bool value);

  // Marks that setup was begun, unless it is completed. When an earlier run of the program began it and did
  // not complete it, sets `onboardingNeedsAttention`.
  void beginOnboardingSession();

  // Saves access to one volume as a camera of the built-in profile; an unknown profile is passed over. Blocks
  // for a look at the volume.
  void authorizeBuiltInProfile(const UUID& id, const FileURL& volumeURL, const Bookmark& bookmark);

  // Stores a profile of the user's own, without its bookmark, in the place of the one that the volume has
  // already, and the bookmark as a grant. The volume of a built-in camera stays one: only the grant changes.
  void addProfile(const DeviceProfile& profile);

  // Forgets the access with this identity. Profiles stay: one without a grant is not offered to detection.
  void removeProfile(const UUID& id);

  // Replaces the bookmark of the grant with this identity; without a bookmark the grant goes. Where there is
  // no such grant, one is made from the profile with this identity, if there is one.
  void setSecurityScopedBookmark(const std::optional<Bookmark>& bookmark, const UUID& id);

  // Saves access to one volume, which is identified by its UUID or, if it has none, by its names. An existing
  // grant of the volume keeps its id. Replaces stored grants that could not be read, and clears
  // `savedCameraAccessError`.
  void saveGrant(const UUID& profileID, const std::string& name, const std::optional<std::string>& volumeUUID,
                 const std::vector<std::string>& volumeNames, const Bookmark& bookmark);

 private:
  void setBoolean(bool& property, std::string_view key, bool value);
  void setGrants(std::vector<CameraAccessGrant> grants);
  void setProfiles(std::vector<DeviceProfile> profiles);
  void storeGrants(const std::vector<CameraAccessGrant>& grants);
  void storeProfiles(const std::vector<DeviceProfile>& profiles);

  UserDefaults& defaults_;
  ChangeNotifier notifier_;
};

}  // namespace tolvander::app
