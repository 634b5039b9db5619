#include "Platform/Linux/Text/LinuxNames.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace tolvander::tests {

namespace {

std::vector<std::string> texts(const SystemNames& names) {
  return {names.photoLibrary,
          names.photoLibraryTitle,
          names.trash,
          names.shortTrash,
          names.trashTitle,
          names.fileManager,
          names.computer,
          names.photosAccessAdvice,
          names.photosRestricted,
          names.photosDeniedLabel,
          names.removableVolumeAdvice,
          names.volumeRetryAdvice,
          names.waitingForCameraChoice,
          names.removableVolumeSettingsButton.value_or(""),
          names.notificationsAdvice,
          names.systemSettingsFailure,
          names.launchAtLoginHelp,
          names.approveLoginItem,
          names.loginItemNotInstalled};
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
