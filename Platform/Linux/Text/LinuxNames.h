#pragma once

#include <optional>

#include "TolvanderCore/SystemNames.h"

namespace tolvander::platform::linux_ {

// The names that hold on every Linux desktop: the photo library is Tolvander's own folder, and access to it
// and to drives is a matter of file permissions, for which no desktop has a settings page.
inline SystemNames systemNames() {
  return {
      .photoLibrary = "your photo library",
      .photoLibraryTitle = "Photo Library",
      .trash = "the Trash",
      .shortTrash = "the Trash",
      .trashTitle = "Trash",
      .fileManager = "your file manager",
      .computer = "this computer",
      .photosAccessAdvice = "Check that you may read and write the folder of your photo library.",
      .photosRestricted =
          "Photos access is restricted on this computer. Check that you may read and write the "
          "folder of your photo library.",
      .photosDeniedLabel = "No Access",
      .hasPhotosSettings = false,
      .removableVolumeAdvice = "Check that you are allowed to read this drive.",
      .volumeRetryAdvice = "Try again, or check that you are allowed to read this drive.",
      .waitingForCameraChoice = "Waiting for your choice…",
      .removableVolumeSettingsButton = std::nullopt,
      .notificationsAdvice = "Your desktop has no service that shows them.",
      .hasNotificationSettings = false,
      .systemSettingsFailure = "The system’s settings could not be opened.",
      .launchAtLoginHelp = "Start Tolvander in the background when you log in.",
      .approveLoginItem = "Approve in Startup Settings",
      .loginItemNotInstalled = "Install Tolvander to use Launch at Login.",
  };
}

}  // namespace tolvander::platform::linux_
