#pragma once

#include <cstdint>
#include <functional>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/NotificationPermissionStatus.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/Platform/NotificationDelivery.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/DiagnosticLog.h"

// Asks the system for the two permissions that the program needs.
namespace tolvander::app::PermissionService {

// What the platform's request for access to the photo library does with whoever waits for the answer: calls
// it once, on any thread.
using PhotosAccessRequest = std::function<void(std::function<void(PhotosAuthorizationStatus)> handler)>;

// How the program stands on the screen at a moment, as the diagnostic log tells it. As it is made: a program
// without windows.
struct PresentationState {
  bool appActive = false;
  bool windowKey = false;
  bool windowMain = false;
  std::int64_t activationPolicy = -1;  // as the platform numbers it; -1 without an application object
  bool workspaceFrontmost = false;
};

// The request that the user's button makes: leaves `permissionPromptStarted` in the log and asks the library.
// What is given outlives the request.
PhotosAccessRequest standardPhotosAccessRequest(PhotoLibrary& library, DiagnosticLog& log,
                                                MainThread& mainThread, PresentationState state);

// Makes the request, and calls the completion once with its answer, from a function posted on the main
// thread. The completion must not throw. Main thread only.
void requestPhotosAccess(const PhotosAccessRequest& request, MainThread& mainThread,
                         std::function<void(PhotosPermissionStatus)> completion);

// `delivery` outlives the task.
Task<NotificationPermissionStatus> notificationStatus(NotificationDelivery& delivery);

}  // namespace tolvander::app::PermissionService
