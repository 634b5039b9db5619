#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/AppModel.h"

namespace tolvander::app {

// The fields of the model that its parts assign. Assigning one is a change of the model.
struct ModelFields {
  Observed<std::string>& statusMessage;
  Observed<std::vector<ConnectedDeviceSummary>>& connectedDevices;
  Observed<std::vector<RemovableVolumeSummary>>& availableRemovableVolumes;
  Observed<std::vector<DeviceTrashSummary>>& deviceTrashSummaries;
  Observed<std::vector<std::string>>& availableAlbumNames;
  Observed<PhotosPermissionStatus>& photosPermissionStatus;
  Observed<NotificationPermissionStatus>& notificationPermissionStatus;
  Observed<std::optional<RemovableVolumeAccessIssue>>& removableVolumeAccessIssue;
  Observed<std::optional<std::string>>& lastError;
  Observed<std::optional<std::string>>& lastErrorFile;
  Observed<bool>& offersPhotoReview;
  Observed<bool>& isEjecting;
  Observed<bool>& showsCompletionCheckmark;
  Observed<bool>& isRequestingCameraAccess;
  Observed<bool>& isUpdatingAlbum;
  Observed<bool>& isRefreshingDevices;
  Observed<std::optional<StatusReceipt>>& statusReceipt;
  Observed<std::optional<std::int64_t>>& collectedPhotoCount;
  Observed<std::optional<std::int64_t>>& collectedVideoCount;
  Observed<std::map<FileURL, LastSyncReceipt>>& cameraCheckReceipts;
  Observed<std::vector<DeviceLibraryReview>>& libraryReviews;
  Observed<std::optional<Date>>& libraryReviewCompletedAt;
  Observed<SyncPhase>& syncPhase;
  Observed<std::vector<CameraRun>>& cameraRuns;
  Observed<bool>& cameraWentAway;
  Observed<LoginItemStatus>& loginStatus;
};

// What the parts of the model share: the model's fields, services and public operations, and the private
// operations that only the parts may call. The model owns it. Main thread only.
class ModelContext {
 public:
  ModelContext(AppModel& owner, const ModelFields& ownerFields);

  AppModel& model;
  const ModelFields fields;
  const Platform& platform;
  const AppModel::Services& services;
  const std::shared_ptr<PhotoLibraryService> photos;
  const TrashService trash;
  NotificationService& notifications;
  SecurityScopedAccessStore& securityScopedAccess;
  FlowGate& gate;
  TaskScope& tasks;

  void record(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics = {}) const;
  StatusState statusState() const;

  // Failures (FailureDisplay.h)
  void show(const std::exception_ptr& failure) const;
  void showFailure(std::string text) const;
  void showStopped(const std::string& stopped) const;
  void clearFailureAndReceipt() const;
  void setFailedFile(std::optional<std::string> name) const;

  // Results (ReceiptDisplay.h)
  void showReceipt(StatusReceipt receipt) const;
  void showCompletionIndicator(std::optional<std::chrono::duration<double>> clearAfter) const;

  // Settings and access (PermissionsFlow.h). A setting that can't be stored keeps its value, which is shown
  // as a failure, and ends no flow.
  void storeSettings(const std::function<void()>& change) const;
  void applyPhotosPermissionStatus(PhotosPermissionStatus status) const;
  void requireSetupAfterAccessLoss() const;
};

}  // namespace tolvander::app
