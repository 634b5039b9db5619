#include "TolvanderApp/Permissions/PermissionService.h"

#include <utility>

namespace tolvander::app::PermissionService {

namespace {

DiagnosticLog::Metrics metricsOf(const PresentationState& state, bool isMainThread) {
  return {{"main_thread", isMainThread},
          {"app_active", state.appActive},
          {"window_key", state.windowKey},
          {"window_main", state.windowMain},
          {"activation_policy", state.activationPolicy},
          {"workspace_frontmost", state.workspaceFrontmost}};
}

}  // namespace

PhotosAccessRequest standardPhotosAccessRequest(PhotoLibrary& library, DiagnosticLog& log,
                                                MainThread& mainThread, PresentationState state) {
  return [&library, &log, &mainThread, state](std::function<void(PhotosAuthorizationStatus)> handler) {
    log.record(DiagnosticLog::Event::permissionPromptStarted, metricsOf(state, mainThread.isCurrent()));
    library.requestAuthorization(std::move(handler));
  };
}

void requestPhotosAccess(const PhotosAccessRequest& request, MainThread& mainThread,
                         std::function<void(PhotosPermissionStatus)> completion) {
  request([&mainThread, completion = std::move(completion)](PhotosAuthorizationStatus status) {
    mainThread.post([completion, status] { completion(photosPermissionStatus(status)); });
  });
}

Task<NotificationPermissionStatus> notificationStatus(NotificationDelivery& delivery) {
  auto status = delivery.authorizationStatus();
  const NotificationAuthorizationStatus current = co_await status;
  co_return notificationPermissionStatus(current);
}

}  // namespace tolvander::app::PermissionService
