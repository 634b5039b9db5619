#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/AppSettings.h"
#include "TolvanderApp/Camera/SecurityScopedAccessStore.h"
#include "TolvanderApp/CameraRun.h"
#include "TolvanderApp/Concurrency/ChangeNotifier.h"
#include "TolvanderApp/Concurrency/Observed.h"
#include "TolvanderApp/Concurrency/Subscription.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/Concurrency/TaskScope.h"
#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderApp/FlowResults.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderApp/Model/FlowGate.h"
#include "TolvanderApp/NotificationPermissionStatus.h"
#include "TolvanderApp/Notifications/NotificationService.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/Platform/Platform.h"
#include "TolvanderApp/StatusReceipt.h"
#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/DetectedDevice.h"
#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/SyncHistoryStore.h"
#include "TolvanderCore/SyncPhase.h"

namespace tolvander::app {

struct StatusPresentation;
struct StatusState;

// The application: everything that the screens show, and the flows that turn events into work. A shell reads
// the observable fields and calls the operations; nothing else in the program reacts to the machine.
//
// Belongs to the main thread. Flows are tasks there and interleave at their waits, so a guard is tested and
// set without a wait between. One flow at a time uses the library or a camera (FlowGate): `isSyncing` says
// so, and a sync that is asked for while one runs follows it, once and silently.
//
// A flow fails by showing the failure (`lastError` and the status line), never by throwing, and a
// cancellation is no failure. Operations that start a flow give back its result, see FlowResults.h. The work
// is done by the parts of the model (ModelParts.h).
class AppModel : public std::enable_shared_from_this<AppModel> {
 public:
  // What the model keeps for its life. Jobs on workers share it, since they may end after the model.
  struct Services {
    std::shared_ptr<AppSettings> settings;
    std::shared_ptr<SyncHistoryStore> history;
    std::shared_ptr<MediaStagingService> mediaStaging;
    std::shared_ptr<DiagnosticLog> diagnosticLog;
  };

  // `later`: the caller begins a flow after the start.
  enum class FirstSync { whenSetupIsComplete, later, never };

  // `platform` is kept by reference and outlives the model. The library is asked for the user's permission
  // where `initialPhotosPermissionStatus` doesn't say it.
  static std::shared_ptr<AppModel> make(
      const Platform& platform, Services services,
      std::optional<PhotosPermissionStatus> initialPhotosPermissionStatus = std::nullopt);
  ~AppModel();
  AppModel(const AppModel&) = delete;
  AppModel& operator=(const AppModel&) = delete;

  // Observable fields, which only the model can assign. `changes` reports every assignment.

  template <typename T>
  using Field = OwnedObserved<T, AppModel>;

  ChangeNotifier changes;
  Field<std::string> statusMessage;
  Field<bool> isSyncing;  // a sync, check, cleanup or album flow runs
  Field<std::vector<ConnectedDeviceSummary>> connectedDevices;
  Field<std::vector<RemovableVolumeSummary>> availableRemovableVolumes;
  Field<std::vector<DeviceTrashSummary>> deviceTrashSummaries;
  Field<std::vector<std::string>> availableAlbumNames;
  Field<PhotosPermissionStatus> photosPermissionStatus;
  Field<NotificationPermissionStatus> notificationPermissionStatus;
  Field<std::optional<RemovableVolumeAccessIssue>> removableVolumeAccessIssue;
  Field<std::optional<std::string>> lastError;
  Field<std::optional<std::string>> lastErrorFile;  // the name of the file that the failure is about
  Field<bool> offersPhotoReview;  // the failure is one that a check against the library can settle
  Field<bool> isEjecting;
  Field<bool> showsCompletionCheckmark;
  Field<bool> isRequestingCameraAccess;
  Field<std::optional<std::string>> availableUpdateVersion;
  Field<bool> isUpdatingAlbum;
  Field<bool> isRefreshingDevices;
  Field<std::optional<StatusReceipt>> statusReceipt;
  Field<std::optional<std::int64_t>> collectedPhotoCount;  // absent until read, or when it can't be
  Field<std::optional<std::int64_t>> collectedVideoCount;
  Field<std::map<FileURL, LastSyncReceipt>> cameraCheckReceipts;  // by standardized volume URL
  Field<std::vector<DeviceLibraryReview>> libraryReviews;
  Field<std::optional<Date>> libraryReviewCompletedAt;
  Field<SyncPhase> syncPhase;
  Field<std::vector<CameraRun>> cameraRuns;  // of the running or the last flow, in their order
  Field<bool> cameraWentAway;                // why the last flow stopped, where the user didn't stop it
  Field<LoginItemStatus> loginStatus;

  // What the user has chosen, and the saved cameras.
  AppSettings& settings() const { return *services_.settings; }

  // Start and events

  // Begins to observe the machine, and runs the start-up task, which it returns. A second call does nothing.
  std::optional<TaskHandle> start(FirstSync firstSync = FirstSync::whenSetupIsComplete);
  // Setup was left: from now on an unfinished one asks for attention.
  void markSetupExited();
  // Whether setup can be completed: a camera is connected, the library may be used, no volume is denied, and
  // no flow or eject runs.
  bool canStartFirstSync() const;
  // Whether a flow of the user's may start: setup is complete, and no flow or eject runs.
  bool canStartFlow() const;
  // Nothing runs that a process would have to wait for before it ends.
  bool isIdle() const;
  // Waits until `isIdle`.
  Task<> untilIdle();
  // What the user is to see to before the model can go on: the failure on the screen, a volume that may not
  // be read, or a library that may not be used. Absent where nothing is wrong.
  std::optional<FlowFailure> failure() const;
  // A volume was mounted, and the system has settled it. Syncs where it is a saved camera, setup is complete
  // and the library may be used; otherwise the status line says what is missing.
  Task<> handleMountedVolume(FileURL url);
  // A volume is gone. What was shown of its camera goes, but for the result of our own eject.
  Task<> handleUnmountedVolume(FileURL url);
  // Reads what the user and the system allow. Without access to the library setup is to be done again.
  Task<> refreshPermissionStatuses();
  // Starts `refreshPermissionStatuses`: the user may have changed something elsewhere.
  void lookAgain();
  // Fills `availableRemovableVolumes`. A failure is shown.
  void refreshMountedVolumes();
  // Fills `connectedDevices`. A second call while one runs waits for that one. Failures are shown.
  Task<> refreshConnectedDevices();
  // Fills `deviceTrashSummaries`, which is empty without access to the library. A failure is shown.
  Task<> refreshTrashCount();
  // Fills `availableAlbumNames`, which is empty without access to the library, and stays where it can't be
  // read.
  Task<> refreshAlbumNames();
  // Fills `collectedPhotoCount` and `collectedVideoCount`.
  Task<> refreshPhotoHistoryCount();

  // Sync

  // Looks for the saved cameras and syncs each in turn. While a flow runs the request is folded: one silent
  // sync follows that flow, unless it is stopped. Refused before setup is complete, while a camera is
  // ejected, and without access to the library. `notifyWhenStarting`: a notification says that each camera's
  // sync begins.
  Task<SyncSummary> syncAllConnected(bool notifyWhenStarting);
  // Looks for volumes, and syncs. Refused before setup is complete, and while a flow or an eject runs.
  Started<SyncSummary> checkNow();
  // Completes setup and does the first sync. Refused where `canStartFirstSync` is false, and where the
  // setting can't be stored, which is shown.
  Started<SyncSummary> completeOnboardingAndSync();
  // Completes what imports left prepared in the library when their process was killed. Nothing of it is
  // shown. Refused while a flow or an eject runs, and without access to the library.
  Started<FlowOutcome> completeInterruptedImports();
  // Asks the running flow to stop at its next checkpoint. No sync follows it.
  void stopCheck();

  // Cleanup

  // Deletes for good what was moved to the Trash from one camera, after asking. Refused before setup is
  // complete, and while a flow or an eject runs.
  Started<CleanupResult> clearManagedTrash(DeviceTrashSummary device);
  // Puts files of one camera back where they were, without asking: all, or those of the names given. Refused
  // as above.
  Started<CleanupResult> restoreManagedTrash(DeviceTrashSummary device,
                                             std::optional<std::set<std::string>> filenames);

  // Check against the library

  // `beforeChange` is a check that one of the two operations below is to follow. It lets the library complete
  // what interrupted imports began; the other one changes nothing.
  enum class CheckPurpose { look, beforeChange };
  // Compares every connected camera with the library, and fills `libraryReviews`. Refused before setup is
  // complete, while a flow or an eject runs, and without access to the library.
  Started<CheckResult> verifyCameraInPhotos(CheckPurpose purpose = CheckPurpose::look);
  // Saves in the history what a check found to be in the library. Refused as the check, but for the access.
  Started<FlowOutcome> rememberVerifiedMatches(DeviceLibraryReview review);
  // Imports what a check found to be missing, after asking. Refused like `rememberVerifiedMatches`, where
  // nothing is missing, and where files of the camera are uncertain or unchecked.
  Started<RestoreResult> restoreMissingImports(DeviceLibraryReview review);

  // Albums

  // All three are refused before setup is complete, and while a flow or an eject runs.

  // Stores the album that syncs fill. Where they do, asks whether what is recorded goes there too, and adds
  // it. Absent also where the name is empty or the present one, where it can't be stored, which is shown, and
  // where syncs fill no album.
  Started<AlbumResult> selectAlbum(std::string name);
  // Asks for a name, makes the album, has syncs fill it, and asks whether what is recorded goes there too.
  Started<AlbumResult> presentCreateAlbum();
  // Adds the recorded items to an album: all, or those that `fromAlbum` holds.
  Started<AlbumResult> addRecordedAssets(std::optional<std::string> fromAlbum, std::string toAlbum);
  // "Charmera", with a number where there is such an album.
  std::string suggestedAlbumName() const;

  // Eject

  // Ejects a camera, after the running flow, which is stopped. Refused before setup is complete, and while a
  // camera is ejected. The outcome is `stopped` where the eject of another camera has replaced it.
  Started<FlowOutcome> ejectDevice(ConnectedDeviceSummary device);
  // The same at once, also during a flow. Gives whether the volume is gone.
  Task<bool> ejectVolume(FileURL url, std::string displayName, bool isCharmera, bool notifyOnSuccess);

  // Camera access

  // What follows when a camera was saved: its sync, where setup is complete and the library may be used.
  enum class AfterAdding { sync, nothing };
  // Asks for a drive, and saves the access to it. `proposed` is a folder that the user has named already.
  // Refused while another panel is open, and while a flow or an eject runs.
  Started<AddedCamera> addDevice(std::optional<FileURL> proposed = std::nullopt,
                                 AfterAdding afterwards = AfterAdding::sync);
  // Forgets a saved camera, after asking. Without cameras setup is to be done again. Refused while a flow or
  // an eject runs, and where there is no such grant.
  Started<FlowOutcome> removeDevice(UUID grantID);

  // Permissions

  // Before the system asks the user something: brings the program to the front, and remembers the window that
  // is in front of it, which comes back when the request is completed. Gives the request's identity.
  UUID beginPermissionRequest();
  // Asks the system for access to the library, and gives its answer after what follows from it: with access
  // a sync where setup is complete, without it setup is to be done again. Where a new library would be made,
  // asks the user first; then nothing follows from a no, and a history that can't be read is shown as a
  // failure. A call while a request runs gives that request.
  ValueTaskHandle<PhotosPermissionStatus> requestPhotosAccess();
  // Asks the system whether notifications may be shown, and completes the request.
  void requestNotificationPermission(UUID requestID);
  // Opens the system's settings, at a pane where they have it. Shows a failure where there are none.
  void openSystemSettings(std::optional<SystemSettingsPane> pane);
  void openNotificationSettings();

  // Login and updates

  // Has the program started at login, or no more. A failure is shown.
  void setLaunchAtLogin(bool enabled);
  // Reads whether it is. The setting follows.
  void refreshLoginStatus();
  // The version of the update that waits for the user; absent without one.
  void setAvailableUpdateVersion(std::optional<std::string> version);

  // Settings

  // Refused while a flow or an eject runs. A setting that can't be stored keeps its value, which is shown as
  // a failure.
  void setDeleteAfterSync(bool value);
  void setAutoEjectAfterSync(bool value);
  void setAddToAlbum(bool value);

  // What is shown

  // The status line when nothing runs and no result is shown.
  std::string idleStatus() const;
  // The text of the result that is shown, else `fallback`.
  std::string restingStatus(const std::string& fallback) const;
  // The status line of a sync that brought what `receipt` says.
  static std::string syncStatus(const LastSyncReceipt& receipt, bool ejected);
  // What the last sync of the first connected camera brought, while it stays connected.
  std::optional<LastSyncReceipt> connectedCameraReceipt() const;
  // The last check left files without a verdict.
  bool photoReviewIsIncomplete() const;
  // The icon asks for the user's attention.
  bool showsAttentionBadge() const;
  // "12 photos and 3 videos collected"; absent without any.
  std::optional<std::string> collectedPhotosLabel() const;
  // The line below the status line.
  std::optional<std::string> settingsStatusDetail() const;
  // The tool tip of that line; may have several lines.
  std::optional<std::string> settingsStatusDetailHelp() const;
  // When the shown result or check was completed.
  std::optional<Date> settingsStatusDate() const;
  // The name of the symbol beside the status line.
  std::optional<std::string> settingsStatusSymbol() const;
  // The settings window was opened or closed. While it is open, a result stays shown.
  void setSettingsWindowOpen(bool isOpen);
  // The same for the status menu.
  void setStatusMenuOpen(bool isOpen);

 private:
  friend class ModelContext;  // for the parts
  struct Parts;
  std::unique_ptr<Parts> makeParts();

  AppModel(const Platform& platform, Services services,
           std::optional<PhotosPermissionStatus> initialPhotosPermissionStatus);

  // Records nothing before the start.
  void record(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics = {});
  void clearForFlow();
  void connectedDevicesDidChange(const std::vector<ConnectedDeviceSummary>& before);
  void workDidChange(bool wasWorking, bool isWorking);
  StatusState statusState() const;
  StatusPresentation statusPresentation() const;

  const Platform platform_;
  const Services services_;
  const std::shared_ptr<PhotoLibraryService> photos_;
  const TrashService trash_;
  NotificationService notifications_;
  SecurityScopedAccessStore securityScopedAccess_;

  bool started_ = false;
  std::shared_ptr<DiagnosticLog> diagnosticLog_;  // absent until the start
  FlowGate gate_;
  const std::unique_ptr<Parts> parts_;
  TaskScope tasks_;  // last: its tasks use everything above
};

}  // namespace tolvander::app
