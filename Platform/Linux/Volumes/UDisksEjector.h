#pragma once

#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "TolvanderApp/Platform/VolumeEjector.h"

namespace tolvander::platform::linux_ {

// Ejects drives through udisks2 on the system bus (org.freedesktop.UDisks2, version 2.7.3 or later). First
// unmounts the requested file system, so that nothing has changed if it is busy; then the other mounted file
// systems of the drive; if one of them is busy, the drive isn't ejected. Then ejects the medium or, if the
// drive can't, powers it off.
class UDisksEjector final : public app::VolumeEjector {
 public:
  // The volumes must outlive this object.
  explicit UDisksEjector(const LinuxVolumes& volumes) : volumes_(volumes) {}

  // Connects to the bus for each call. Waits up to five minutes for a slow drive to write.
  void unmountAndEject(const FileURL& volume) override;

 private:
  const LinuxVolumes& volumes_;
};

}  // namespace tolvander::platform::linux_
