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
#include "TolvanderApp/Import/CameraImport.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderApp/Model/FlowGate.h"
#include "TolvanderApp/NotificationPermissionStatus.h"
#include "TolvanderApp/Notifications/NotificationService.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/Platform/Platform.h"
#include "TolvanderApp/StatusReceipt.h"
#include "TolvanderApp/Trash/TrashDeleteResult.h"
#include "TolvanderApp/Trash/TrashMoveResult.h"
#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/CameraLibraryReview.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/DetectedDevice.h"
#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/ManagedTrashRecord.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/SyncCoordinator.h"
#include "TolvanderCore/SyncHistoryStore.h"
#include "TolvanderCore/SyncPhase.h"
#include "TolvanderCore/SyncResult.h"

namespace tolvander::app {

struct StatusPresentation;
struct StatusState;

// The application: everything that the screens show, and the flows that turn events into work. A shell reads
// the observable fields and calls the operations; nothing else in the program reacts to the machine.
//
// Belongs to the main thread. Flows are tasks there and interleave at their waits, so a guard is tested and
// set without a wait between. One flow at a time uses the library or a camera: `isSyncing` and the task that
// is kept with it say so, and a sync that is asked for meanwhile follows later, once and silently.
//
// A flow fails by showing the failure (`lastError` and the status line), never by throwing, and a
// cancellation is no failure. The definition lies in one file for each family of flows.
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

  AppSettings& settings() const { return *services_.settings; }

  // Start and events (AppModel.cpp)

  // Begins to observe the machine, and runs the start-up task, which it returns. A second call does nothing.
  std::optional<TaskHandle> start(FirstSync firstSync = FirstSync::whenSetupIsComplete);
  // Setup was left: from now on an unfinished one asks for attention.
  void markSetupExited();
  bool canStartFirstSync() const;
  // Nothing runs that a process would have to wait for before it ends.
  bool isIdle() const;
  // Whether a flow of the user's may start: setup is complete, and no flow or eject runs.
  bool canStartFlow() const;
  // Waits until `isIdle`.
  Task<> untilIdle();
  // What the user is to see to before the model can go on; absent where nothing is wrong.
  std::optional<FlowFailure> failure() const;
  Task<> handleMountedVolume(FileURL url);
  Task<> handleUnmountedVolume(FileURL url);
  Task<> refreshPermissionStatuses();
  // Starts `refreshPermissionStatuses`: the user may have changed something elsewhere.
  void lookAgain();
  void refreshMountedVolumes();
  Task<> refreshConnectedDevices();
  Task<> refreshTrashCount();
  Task<> refreshAlbumNames();
  Task<> refreshPhotoHistoryCount();

  // Sync session (AppModelSyncSession.cpp)

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

  // Cleanup (AppModelCleanup.cpp)

  // Deletes for good what was moved to the Trash from one camera, after asking. Refused before setup is
  // complete, and while a flow or an eject runs.
  Started<CleanupResult> clearManagedTrash(DeviceTrashSummary device);
  // Puts files of one camera back where they were, without asking: all, or those of the names given. Refused
  // as above.
  Started<CleanupResult> restoreManagedTrash(DeviceTrashSummary device,
                                             std::optional<std::set<std::string>> filenames);

  // Check against the library (AppModelPhotosCheck.cpp)

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

  // Albums (AppModelAlbum.cpp)

  // All three are refused before setup is complete, and while a flow or an eject runs.

  // Stores the album that syncs fill. Where they do, asks whether what is recorded goes there too, and adds
  // it. Absent also where the name is empty or the present one, where it can't be stored, which is shown, and
  // where syncs fill no album.
  Started<AlbumResult> selectAlbum(std::string name);
  // Asks for a name, makes the album, has syncs fill it, and asks whether what is recorded goes there too.
  Started<AlbumResult> presentCreateAlbum();
  // Adds the recorded items to an album: all, or those that `fromAlbum` holds.
  Started<AlbumResult> addRecordedAssets(std::optional<std::string> fromAlbum, std::string toAlbum);
  std::string suggestedAlbumName() const;

  // Eject (AppModelEject.cpp)

  // Ejects a camera, after the running flow, which is stopped. Refused before setup is complete, and while a
  // camera is ejected. The outcome is `stopped` where the eject of another camera has replaced it.
  Started<FlowOutcome> ejectDevice(ConnectedDeviceSummary device);
  // The same at once, also during a flow. Gives whether the volume is gone.
  Task<bool> ejectVolume(FileURL url, std::string displayName, bool isCharmera, bool notifyOnSuccess);

  // Camera access (AppModelCameraAccess.cpp)

  // What follows when a camera was saved: its sync, where setup is complete and the library may be used.
  enum class AfterAdding { sync, nothing };
  // Asks for a drive, and saves the access to it. `proposed` is a folder that the user has named already.
  // Refused while another panel is open, and while a flow or an eject runs.
  Started<AddedCamera> addDevice(std::optional<FileURL> proposed = std::nullopt,
                                 AfterAdding afterwards = AfterAdding::sync);
  // Forgets a saved camera, after asking. Without cameras setup is to be done again. Refused while a flow or
  // an eject runs, and where there is no such grant.
  Started<FlowOutcome> removeDevice(UUID grantID);

  // Permissions (AppModelPermissions.cpp)

  // Asks the system for access to the library, and gives its answer after what follows from it: with access
  // a sync where setup is complete, without it setup is to be done again.
  ValueTaskHandle<PhotosPermissionStatus> requestPhotosAccess();
  // Asks the system whether notifications may be shown.
  void requestNotificationPermission();

  // What is shown of it all (AppModelStatus.cpp)

  std::string idleStatus() const;
  std::string restingStatus(const std::string& fallback) const;
  static std::string syncStatus(const LastSyncReceipt& receipt, bool ejected);
  std::optional<LastSyncReceipt> connectedCameraReceipt() const;
  bool photoReviewIsIncomplete() const;
  bool showsAttentionBadge() const;
  std::optional<std::string> collectedPhotosLabel() const;
  std::optional<std::string> settingsStatusDetail() const;
  std::optional<std::string> settingsStatusDetailHelp() const;
  std::optional<Date> settingsStatusDate() const;
  std::optional<std::string> settingsStatusSymbol() const;
  // While one of them is open, a result stays on show.
  void setSettingsWindowOpen(bool isOpen);
  void setStatusMenuOpen(bool isOpen);

 private:
  struct FoundCamera {
    DetectedDevice device;              // without the files that are set aside
    std::vector<std::string> setAside;  // their paths
  };

  // What a sync's offer to move the imported files to the Trash came to.
  struct CleanupOutcome {
    bool safeToEject = false;
    bool didNotify = false;
  };

  AppModel(const Platform& platform, Services services,
           std::optional<PhotosPermissionStatus> initialPhotosPermissionStatus);

  // Start and events (AppModel.cpp)
  void record(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics = {});
  void observeTheMachine();
  Task<> startUp(FirstSync firstSync);
  Task<> sweepAbandonedStaging();
  void prepareUninstall();
  Task<> settleAndHandleMountedVolume(FileURL url);
  void publishRemovableVolumes(const std::vector<MountedVolume>& mounted);
  void refreshLoginStatus();
  void applyPhotosPermissionStatus(PhotosPermissionStatus status);
  void requireSetupAfterAccessLoss();
  void clearForFlow();
  // A volume that may not be read suspends setup once the other volumes have had their turn: after the flow
  // that runs, or that is about to.
  void suspendSetupWhereAVolumeIsDenied();
  Task<> useMountedVolume(FileURL url);
  // A setting that can't be stored keeps its old value. That is shown as a failure, and ends no flow.
  void storeSettings(const std::function<void()>& change);
  void connectedDevicesDidChange(const std::vector<ConnectedDeviceSummary>& before);
  void workDidChange(bool wasWorking, bool isWorking);
  void lastErrorDidChange();

  // Camera access (AppModelCameraAccess.cpp)
  bool isStillMounted(const FileURL& url) const;  // throws what Volumes throws
  // The volumes that could be cameras; none, and the failure shown, where the system can't tell.
  std::vector<MountedVolume> mountedVolumes();
  Task<> discoverConnectedDevices();
  // Throws CancellationError where the camera left while it was read, else what reading it throws.
  Task<std::optional<FoundCamera>> detectConnectedCamera(FileURL volumeURL,
                                                         std::vector<DeviceProfile> profiles);
  void refreshSecurityScopedAccess();
  Task<AddedCamera> askForDevice(std::optional<FileURL> proposed, AfterAdding afterwards);
  std::optional<std::string> saveDevice(const FileURL& chosen);
  void saveAccess(const FileURL& volume, const AppSettings::Bookmark& bookmark);
  Task<SyncSummary> useAddedDevice();
  Task<FlowOutcome> askToForget(CameraAccessGrant grant);

  // Sync session (AppModelSyncSession.cpp)
  Task<SyncSummary> performSyncAllConnected(bool notifyWhenStarting);
  Task<> finishPreparedImports();
  Task<FlowOutcome> completeWithoutCamera();
  Task<> syncMountedVolumes(bool notifyWhenStarting);
  Task<SyncSummary> lookForVolumesAndSync();
  Task<> synchronize(FoundCamera camera, bool notifyWhenStarting);
  Task<> presentSyncResult(DetectedDevice device, SyncResult result);
  LastSyncReceipt saveReceipt(const DetectedDevice& device,
                              const std::vector<FingerprintedMediaFile>& imported);
  StatusReceipt syncReceipt(const LastSyncReceipt& receipt, const SyncResult& result, bool ejected) const;
  // For a worker. Its functions watch the token and hold the model weakly.
  SyncCoordinator coordinator(const DetectedDevice& device, const CancellationToken& token);
  CameraImport::Observer importObserver();
  bool showImportProgress(std::int64_t completed, std::int64_t total);
  void beginRun(const DetectedDevice& device, const std::vector<std::string>& setAside);
  // For a worker: keeps the file's name for the failure that follows.
  std::function<void(const CameraMediaFile& file)> failedFileObserver();
  void changeRun(const std::function<void(CameraRun& run)>& change);  // the last one
  void endRun(FlowEnd end);
  void setSyncPhase(const SyncPhase& phase);

  // Cleanup (AppModelCleanup.cpp)
  std::optional<FileURL> authorizedVolume(const std::optional<std::string>& deviceIdentifier,
                                          const std::string& trashedPath,
                                          const std::vector<FileURL>& mounted) const;
  std::vector<ManagedTrashRecord> authorizedTrashRecords(
      const std::vector<ManagedTrashRecord>& records) const;
  // Both throw CancellationError where the flow is to stop, and CocoaError fileReadNoPermission.
  void requireCleanupAccess(const FileURL& volume, const CancellationToken& token) const;
  void requireCleanupAccess(const std::vector<ManagedTrashRecord>& records, const CancellationToken& token);
  Task<> settleTrash();
  void showCleanupFailure(std::string message);
  Task<CleanupOutcome> offerToTrash(std::vector<FingerprintedMediaFile> files, DetectedDevice device);
  Task<CleanupOutcome> askToTrash(std::vector<FingerprintedMediaFile> files, DetectedDevice device);
  Task<CleanupOutcome> moveToTrash(std::vector<FingerprintedMediaFile> files, DetectedDevice device);
  Task<CleanupOutcome> finishMove(TrashMoveResult result, std::string deviceName, CancellationToken token);
  Task<> undoMove(TrashMoveResult result);
  Started<CleanupResult> startCleanup(Task<CleanupResult> cleanup);
  Task<CleanupResult> runCleanup(Task<CleanupResult> cleanup);
  Task<std::vector<ManagedTrashRecord>> managedTrash(DeviceTrashSummary device);
  Task<CleanupResult> clearTrash(DeviceTrashSummary device);
  Task<> finishDelete(TrashDeleteResult result, std::string deviceName, CancellationToken token);
  Task<CleanupResult> restoreTrash(DeviceTrashSummary device, std::optional<std::set<std::string>> filenames);

  // Check against the library (AppModelPhotosCheck.cpp)
  Task<CheckResult> check(CheckPurpose purpose);
  Task<> reviewConnectedCameras(CheckPurpose purpose);
  void presentReviews();
  Task<FlowOutcome> remember(DeviceLibraryReview review);
  Task<> saveMatches(DeviceLibraryReview review);
  Task<RestoreResult> askToRestore(DeviceLibraryReview review);
  Task<RestoreResult> restore(DeviceLibraryReview review);
  Task<> importMissing(DeviceLibraryReview review);

  // Albums (AppModelAlbum.cpp)
  Started<AlbumResult> startAlbumUpdate(std::string message, Task<AlbumResult> update);
  Task<AlbumResult> runAlbumUpdate(Task<AlbumResult> update);
  void showAlbumReceipt(std::string message);
  Task<bool> askToBackfill(std::string albumName);
  Task<AlbumResult> linkAlbum(std::string album, std::string before);
  Task<AlbumResult> updateAlbumUnlessStopped(std::optional<std::string> fromAlbum, std::string toAlbum);
  Task<AlbumResult> performRecordedAlbumUpdate(std::optional<std::string> fromAlbum, std::string toAlbum);
  Task<AlbumResult> askForAlbum();
  Task<AlbumResult> createAlbum(std::string name);

  // Eject (AppModelEject.cpp)
  Task<FlowOutcome> eject(ConnectedDeviceSummary device);
  Task<FlowOutcome> ejectAfterFlow(ConnectedDeviceSummary device);
  void showEjectFailure(const std::string& displayName, const std::exception_ptr& failure);
  void rememberOwnUnmount(const FileURL& url);
  Task<> presentEject(std::string displayName, bool isCharmera, bool hadCheckmark, bool notifyOnSuccess);

  // Permissions (AppModelPermissions.cpp)
  Task<PhotosPermissionStatus> askForPhotosAccess();
  Task<> requestPhotosPermission(PhotosPermissionStatus status);  // what follows from the user's answer
  void clearPhotosPermissionError();
  Task<> askForNotificationPermission();
  void setNotificationPermissionStatus(NotificationPermissionStatus status);

  // Status (AppModelStatus.cpp)
  StatusState statusState() const;
  StatusPresentation statusPresentation() const;
  std::string statusWithoutProfiles() const;
  void show(const std::exception_ptr& failure);
  void show(const std::exception& error);
  void showStopped(const std::string& stopped);
  void showStoppedOrFailure(const std::exception_ptr& failure, const std::string& stopped);
  void showDeniedVolume(const std::string& volumeName);
  bool isVolumeMounted(const std::string& name);
  void presentFailure(const std::exception& error);
  void showFailure(std::string message);  // words of a flow's own; no check can settle it
  void clearFailureAndReceipt();
  void showReceipt(StatusReceipt receipt);
  bool showsReceiptMessage() const;
  void discardCompletionReceipt();
  bool holdsReceipt() const;
  void updateCompletionPresentation(Date now);
  void scheduleCompletionExpiry();
  Task<> expireReceipt(std::chrono::nanoseconds delay, UUID receiptID);
  void showCompletionIndicator(std::optional<std::chrono::duration<double>> clearAfter);

  const Platform platform_;
  const Services services_;
  const std::shared_ptr<PhotoLibraryService> photos_;
  const TrashService trash_;
  NotificationService notifications_;
  SecurityScopedAccessStore securityScopedAccess_;

  bool isSetupSuspensionDue_ = false;
  std::optional<std::string> failedFile_;  // of the run, until its failure is shown
  bool isFirstFlowAhead_ = false;
  int eventsBeingHandled_ = 0;           // of which each may lead to a flow
  std::optional<TaskHandle> ejectTask_;  // the last one, finished or not
  std::optional<TaskHandle> statusReceiptTask_;
  bool settingsWindowOpen_ = false;
  bool statusMenuOpen_ = false;
  bool started_ = false;
  std::shared_ptr<DiagnosticLog> diagnosticLog_;  // absent until the start; nothing is recorded before
  // Volumes that the program itself ejected, each with the instant until which its unmount counts as ours.
  std::map<std::string, Date> recentlyEjectedVolumes_;
  std::optional<TaskHandle> deviceRefreshTask_;
  std::vector<Subscription> observers_;
  FlowGate gate_;
  TaskScope tasks_;  // last: its tasks use everything above
};

}  // namespace tolvander::app
