#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
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
  Observed<bool>& isEjecting;
  Observed<bool>& showsCompletionCheckmark;
  Observed<bool>& isRequestingCameraAccess;
  Observed<bool>& isUpdatingAlbum;
  Observed<bool>& isRefreshingDevices;
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
  ModelContext(AppModel& owner, const ModelFields& ownerFields)
      : model(owner),
        fields(ownerFields),
        platform(owner.platform_),
        services(owner.services_),
        photos(owner.photos_),
        trash(owner.trash_),
        notifications(owner.notifications_),
        securityScopedAccess(owner.securityScopedAccess_),
        gate(owner.gate_),
        tasks(owner.tasks_) {}

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

  void record(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics = {}) const {
    model.record(event, metrics);
  }

  // Failures. A cancellation is none.
  void show(const std::exception_ptr& failure) const { model.show(failure); }
  // Words of a flow's own, which no check can settle.
  void showFailure(std::string words) const { model.showFailure(std::move(words)); }
  // The status line of a flow that was stopped; where access was lost the user reads that instead.
  void showStopped(const std::string& stopped) const { model.showStopped(stopped); }
  void clearFailureAndReceipt() const { model.clearFailureAndReceipt(); }
  // The name of the file that the next failure is about.
  void setFailedFile(std::optional<std::string> name) const { model.failedFile_ = std::move(name); }

  // Results
  void showReceipt(StatusReceipt receipt) const { model.showReceipt(std::move(receipt)); }
  bool showsReceiptMessage() const { return model.showsReceiptMessage(); }
  void showCompletionIndicator(std::optional<std::chrono::duration<double>> clearAfter) const {
    model.showCompletionIndicator(clearAfter);
  }
  std::string statusWithoutProfiles() const { return model.statusWithoutProfiles(); }

  // Settings and access. A setting that can't be stored keeps its value, which is shown as a failure.
  void storeSettings(const std::function<void()>& change) const { model.storeSettings(change); }
  void applyPhotosPermissionStatus(PhotosPermissionStatus status) const {
    model.applyPhotosPermissionStatus(status);
  }
  void requireSetupAfterAccessLoss() const { model.requireSetupAfterAccessLoss(); }
};

}  // namespace tolvander::app
