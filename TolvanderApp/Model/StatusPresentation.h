#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/StatusReceipt.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

// What the user reads about the state of the program: the status line, the lines below it in the settings
// window, and the icon's badges. Everything here is a pure function of `StatusState`: it reads no clock, no
// setting and no file, throws nothing and may be called on any thread.
namespace tolvander::app {

// The part of the model's state that the status depends on. The names are those of the model's fields.
struct StatusState {
  bool onboardingCompleted = false;
  bool onboardingNeedsAttention = false;
  PhotosPermissionStatus photosPermissionStatus = PhotosPermissionStatus::notDetermined;
  bool hasAuthorizedProfiles = false;
  bool hasRemovableVolumeAccessIssue = false;
  bool hasAvailableRemovableVolumes = false;
  std::vector<ConnectedDeviceSummary> connectedDevices;
  std::map<FileURL, LastSyncReceipt> cameraCheckReceipts;  // by standardized volume URL
  bool photoReviewIsIncomplete = false;
  bool hasCompletedLibraryReview = false;
  bool isSyncing = false;
  bool isEjecting = false;
  bool hasError = false;
  bool offersPhotoReview = false;  // only with an error
  std::string statusMessage;
  std::optional<StatusReceipt> statusReceipt;
  std::optional<std::int64_t> collectedPhotoCount;
  std::optional<std::int64_t> collectedVideoCount;
};

// What the screens show. Texts are in English and ready to be drawn; symbols are names of system symbols.
struct StatusPresentation {
  std::string idleStatus;                 // the status line when nothing runs and no result is shown
  bool showsReceipt = false;              // the status line shows the result, and nothing is wrong with it
  std::optional<std::string> detail;      // the line below the status line
  std::optional<std::string> detailHelp;  // the tool tip of `detail`; may have several lines
  std::optional<Date> date;               // when the shown result or check was completed
  std::optional<std::string> symbol;      // beside the status line
  bool showsAttentionBadge = false;       // on the icon
  std::optional<std::string> collectedLabel;  // "12 photos and 3 videos collected"

  static StatusPresentation of(const StatusState& state);

  friend bool operator==(const StatusPresentation&, const StatusPresentation&) = default;
};

// What the end of a flow adds to its result.
struct CompletionPresentation {
  bool showsCheckmark = false;                              // the completion badge on the icon
  std::chrono::duration<double> minimumDisplayDuration{0};  // of the result; 0 without a checkmark

  friend bool operator==(const CompletionPresentation&, const CompletionPresentation&) = default;
};

// `clearAfter`: how long the result of an eject stays at least. Without it the checkmark needs a connected
// camera. A failure, or the lack of a result, allows no checkmark.
CompletionPresentation completionPresentation(const StatusState& state,
                                              std::optional<std::chrono::duration<double>> clearAfter);

// The status line when no camera is saved.
std::string statusWithoutProfiles(bool hasAvailableRemovableVolumes);

// The status line of a failure.
std::string failureStatus(bool offersPhotoReview);

// The text of the result that is shown, else `fallback`.
std::string restingStatus(const StatusState& state, const std::string& fallback);

// The status line of a sync that brought what `receipt` says.
std::string syncStatus(const LastSyncReceipt& receipt, bool ejected);

// The receipt of the first connected camera. Those of others count for nothing: the status line describes one
// camera.
std::optional<LastSyncReceipt> connectedCameraReceipt(const StatusState& state);

// Whether a check left files that were not compared, or that could be a picture in the library or not.
bool isIncomplete(const std::vector<DeviceLibraryReview>& reviews);

}  // namespace tolvander::app
