#include "Platform/Linux/Text/LinuxNames.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace tolvander::tests {

namespace {

std::vector<std::string> texts(const SystemNames& names) {
  const auto& [photoLibrary, photoLibraryTitle, trash, trashTitle, fileManager, computer, photosAccessAdvice,
               photosRestricted, hasPhotosSettings, removableVolumeAdvice, volumeRetryAdvice,
               waitingForCameraChoice, removableVolumeSettingsButton, notificationsAdvice,
               systemSettingsFailure, launchAtLoginHelp, approveLoginItem, loginItemNotInstalled] = names;
  return {photoLibrary,
          photoLibraryTitle,
          trash,
          trashTitle,
          fileManager,
          computer,
          photosAccessAdvice,
          photosRestricted,
          removableVolumeAdvice,
          volumeRetryAdvice,
          waitingForCameraChoice,
          removableVolumeSettingsButton.value_or(""),
          notificationsAdvice,
          systemSettingsFailure,
          launchAtLoginHelp,
          approveLoginItem,
          loginItemNotInstalled};
}

}  // namespace

TEST(LinuxNames, sendNobodyToAPlaceOfAnotherSystem) {
  for (const std::string& text : texts(platform::linux_::systemNames())) {
    for (const std::string_view foreign :
         {"Apple", "Mac", "macOS", "Finder", "System Settings", "Screen Time", "menu bar", "Login Items"}) {
      EXPECT_EQ(text.find(foreign), std::string::npos) << text;
    }
  }
}

}  // namespace tolvander::tests
