#pragma once

#include <optional>

#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/Model/ReceiptDisplay.h"

namespace tolvander::app {

// What the user and the system allow: the library, notifications, the login item.
class PermissionsFlow {
 public:
  // Made before the model looks at the library for the first time.
  PermissionsFlow(ModelContext& context, ReceiptDisplay& receipts)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        receipts_(receipts),
        hadLibrary_(context.services.settings->onboardingCompleted()) {}

  Task<> refreshPermissionStatuses();
  void lookAgain();
  // The library's answer. Without access setup is to be done again.
  void applyPhotosPermissionStatus(PhotosPermissionStatus status);
  // Setup is to be done again, where it was complete. The running flow stops, and nothing follows it.
  void requireSetupAfterAccessLoss();
  ValueTaskHandle<PhotosPermissionStatus> requestPhotosAccess();
  void requestNotificationPermission();

 private:
  Task<PhotosPermissionStatus> askForPhotosAccess();
  Task<bool> mayMakeLibrary();
  Task<bool> isLibraryMissing();
  Task<> requestPhotosPermission(PhotosPermissionStatus status);  // what follows from the user's answer
  void clearPhotosPermissionError();
  Task<> askForNotificationPermission();
  void setNotificationPermissionStatus(NotificationPermissionStatus status);
  void refreshLoginStatus();

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  ReceiptDisplay& receipts_;
  bool hadLibrary_;  // setup was complete, or the library could be used, at some time since the start
  std::optional<ValueTaskHandle<PhotosPermissionStatus>> photosRequest_;
};

}  // namespace tolvander::app
