#pragma once

#include "TolvanderApp/Platform/NotificationDelivery.h"

namespace tolvander::app {

// Whether the program may post notifications, as the user is shown it.
enum class NotificationPermissionStatus { authorized, notDetermined, denied };

// Also of a value that this version doesn't know, which counts as denied.
constexpr NotificationPermissionStatus notificationPermissionStatus(NotificationAuthorizationStatus status) {
  switch (status) {
    case NotificationAuthorizationStatus::notDetermined:
      return NotificationPermissionStatus::notDetermined;
    case NotificationAuthorizationStatus::authorized:
    case NotificationAuthorizationStatus::provisional:
    case NotificationAuthorizationStatus::ephemeral:
      return NotificationPermissionStatus::authorized;
    case NotificationAuthorizationStatus::denied:
      break;
  }
  return NotificationPermissionStatus::denied;
}

}  // namespace tolvander::app
