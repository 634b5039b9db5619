#pragma once

namespace tolvander::app {

// A place in the system's settings where the user decides what the program may do.
enum class SystemSettingsPane { photos, removableVolumes, notifications, loginItems };

// The system's own settings program. Belongs to the main thread; neither operation waits for it to appear.
class SystemSettings {
 public:
  virtual ~SystemSettings() = default;

  // Returns whether it could be opened at this place: false also where the system has no such place.
  virtual bool open(SystemSettingsPane pane) = 0;
  // Opens it at no particular pane. Returns whether the system has such a program; what becomes of its start
  // isn't known.
  virtual bool open() = 0;
};

}  // namespace tolvander::app
