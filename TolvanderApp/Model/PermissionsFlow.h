#pragma once

#include <optional>

#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/Model/PermissionRequests.h"
#include "TolvanderApp/Model/ReceiptDisplay.h"

namespace tolvander::app {

// What the user and the system allow: the library and notifications.
class PermissionsFlow {
 public:
  // Made before the model looks at the library for the first time.
  PermissionsFlow(ModelContext& context, ReceiptDisplay& receipts, PermissionRequests& requests)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        receipts_(receipts),
        requests_(requests),
        hadLibrary_(context.services.settings->onboardingCompleted()) {}

  Task<> refreshPermissionStatuses();
  void lookAgain();
  // The library's answer. Without access setup is to be done again.
  void applyPhotosPermissionStatus(PhotosPermissionStatus status);
  // Setup is to be done again, where it was complete. The running flow stops, and nothing follows it.
  void requireSetupAfterAccessLoss();
  ValueTaskHandle<PhotosPermissionStatus> requestPhotosAccess();
  void requestNotificationPermission(UUID requestID);

 private:
  Task<PhotosPermissionStatus> askForPhotosAccess(UUID requestID);
  Task<bool> mayMakeLibrary();
  Task<bool> isLibraryMissing();
  // What follows from the user's answer.
  Task<> requestPhotosPermission(PhotosPermissionStatus status, UUID requestID);
  void clearPhotosPermissionError();
  void showRequestFailure(const std::exception_ptr& failure);
  void clearRequestFailure();
  Task<> askForNotificationPermission(UUID requestID);
  void setNotificationPermissionStatus(NotificationPermissionStatus status);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  ReceiptDisplay& receipts_;
  PermissionRequests& requests_;
  bool hadLibrary_;  // setup was complete, or the library could be used, at some time since the start
  std::optional<ValueTaskHandle<PhotosPermissionStatus>> photosRequest_;
  std::optional<std::string> requestFailure_;  // as the last request showed it
};

}  // namespace tolvander::app
