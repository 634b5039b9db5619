#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderApp/NotificationPermissionStatus.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/Platform/ApplicationVersion.h"
#include "TolvanderApp/Platform/LoginItem.h"
#include "TolvanderApp/ReviewCounts.h"
#include "TolvanderApp/UpdateReminder.h"
#include "TolvanderCore/CameraAccessGrant.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/SyncPhase.h"
#include "TolvanderCore/SystemNames.h"

namespace tolvander::app {

// A date in the texts of DateText.h. It holds for the day on which it was made.
struct ShownDate {
  std::string time;
  std::string dateAndTime;
  bool isToday = false;

  friend bool operator==(const ShownDate&, const ShownDate&) = default;
};

// What a check found for one camera.
struct ShownReview {
  FileURL volumeURL;
  std::string cameraName;
  ReviewCounts counts{};

  friend bool operator==(const ShownReview&, const ShownReview&) = default;
};

// All that icon, menu and window show, taken at one moment: they are pure functions of it. The names are
// those of the model's and the settings' fields and properties. See faceStateOf in FaceAssembly.h.
struct FaceState {
  // Of the model
  std::string statusMessage;
  std::optional<std::string> settingsStatusDetail;
  std::optional<std::string> settingsStatusDetailHelp;
  std::optional<ShownDate> settingsStatusDate;
  std::optional<std::string> settingsStatusSymbol;
  bool showsAttentionBadge = false;
  bool showsCompletionCheckmark = false;
  bool isSyncing = false;
  bool isEjecting = false;
  bool isUpdatingAlbum = false;
  bool isRequestingCameraAccess = false;
  bool canStartFirstSync = false;
  SyncPhase syncPhase{};
  std::optional<std::string> lastError;
  std::optional<std::string> lastErrorFile;  // the name of the file that the failure is about
  bool offersPhotoReview = false;
  std::vector<ConnectedDeviceSummary> connectedDevices;
  bool hasAvailableRemovableVolumes = false;
  std::optional<RemovableVolumeAccessIssue> removableVolumeAccessIssue;
  PhotosPermissionStatus photosPermissionStatus = PhotosPermissionStatus::notDetermined;
  NotificationPermissionStatus notificationPermissionStatus = NotificationPermissionStatus::notDetermined;
  LoginItemStatus loginStatus = LoginItemStatus::notRegistered;
  std::vector<ShownReview> libraryReviews;
  std::optional<ShownDate> libraryReviewCompletedAt;
  std::vector<DeviceTrashSummary> deviceTrashSummaries;
  std::vector<std::string> availableAlbumNames;
  std::optional<std::string> collectedPhotosLabel;
  std::optional<std::string> availableUpdateVersion;

  // Of the settings
  bool onboardingCompleted = false;
  bool hasAuthorizedProfiles = false;
  bool deleteAfterSync = false;
  bool autoEjectAfterSync = false;
  bool addToAlbum = false;
  std::string albumName;
  std::vector<CameraAccessGrant> cameraGrants;
  std::optional<std::string> savedCameraAccessError;

  UpdateReminder updateReminder{};
  ApplicationVersion version{};
  SystemNames names{};
  std::string supportAddress;  // for mail

  bool isWorking() const { return isSyncing || isEjecting; }
  bool hasPhotosAccess() const { return photosPermissionStatus == PhotosPermissionStatus::authorized; }
};

}  // namespace tolvander::app
