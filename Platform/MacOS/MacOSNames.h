#pragma once

#include "TolvanderCore/SystemNames.h"

namespace tolvander::platform::macos {

// The names of macOS, its Photos library and its System Settings.
inline SystemNames systemNames() {
  return {
      .photoLibrary = "Apple Photos",
      .photoLibraryTitle = "Apple Photos",
      .trash = "macOS Trash",
      .shortTrash = "Trash",
      .trashTitle = "macOS Trash",
      .fileManager = "Finder",
      .computer = "this Mac",
      .photosAccessAdvice = "In System Settings, choose Privacy & Security → Photos.",
      .photosRestricted =
          "Photos access is restricted by this Mac. Check Privacy & Security → Photos, Screen "
          "Time, or device-management settings.",
      .photosDeniedLabel = "Declined",
      .hasPhotosSettings = true,
      .removableVolumeAdvice = "Allow removable-volume access in System Settings.",
      .volumeRetryAdvice = "Try again, or allow Removable Volumes in System Settings.",
      .waitingForCameraChoice = "Waiting for macOS…",
      .removableVolumeSettingsButton = "System Settings",
      .notificationsAdvice = "In System Settings, choose Notifications → Tolvander.",
      .hasNotificationSettings = true,
      .systemSettingsFailure = "System Settings could not be opened.",
      .launchAtLoginHelp = "Start Tolvander in the menu bar when you log in.",
      .approveLoginItem = "Approve in Login Items",
      .loginItemNotInstalled = "Install Tolvander in Applications to use Launch at Login.",
  };
}

}  // namespace tolvander::platform::macos
