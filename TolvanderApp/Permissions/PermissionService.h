#pragma once

#include <functional>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/NotificationPermissionStatus.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/NotificationDelivery.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/DiagnosticLog.h"

// Requests for the two permissions that the program needs: access to the photo library, and notifications.
namespace tolvander::app::PermissionService {

// Starts the system's request for access to the photo library. Calls `handler` exactly once with the answer,
// on any thread.
using PhotosAccessRequest = std::function<void(std::function<void(PhotosAuthorizationStatus)> handler)>;

// The request that the user's button makes. It records `permissionPromptStarted` in the log with `state`,
// since a request that is made from behind other windows may go unnoticed, and then asks the library. The
// references must stay valid until `handler` was called.
PhotosAccessRequest standardPhotosAccessRequest(PhotoLibrary& library, DiagnosticLog& log,
                                                MainThread& mainThread, PresentationState state);

// Makes the request, and calls `completion` once with its answer, in a function posted to the main thread.
// The completion must not throw. Main thread only.
void requestPhotosAccess(const PhotosAccessRequest& request, MainThread& mainThread,
                         std::function<void(PhotosPermissionStatus)> completion);

// Reads whether notifications may be shown, without asking the user. `delivery` must outlive the task.
Task<NotificationPermissionStatus> notificationStatus(NotificationDelivery& delivery);

}  // namespace tolvander::app::PermissionService
