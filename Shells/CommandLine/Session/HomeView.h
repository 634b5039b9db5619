#pragma once

#include "Platform/Linux/Settings/FileUserDefaults.h"
#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "Platform/Linux/Volumes/VolumeBookmarks.h"
#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/CamerasReport.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "TolvanderApp/AppSettings.h"

namespace tolvander::shell {

// A home as it is stored, for commands that only look, also while another process owns it. Changes nothing.
class HomeView {
 public:
  // Throws Error where the user has no home, and UserDefaultsError where the settings can't be
  // read.
  explicit HomeView(const Context& context);

  const HomeFiles& files() const { return files_; }
  const app::StoredSettings& settings() const { return settings_; }

  // The saved cameras, and where they are now.
  app::CamerasReport cameras();

 private:
  const HomeFiles files_;
  const platform::linux_::FileUserDefaults stored_;
  const app::StoredSettings settings_{stored_};
};

}  // namespace tolvander::shell
