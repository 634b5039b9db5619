#pragma once

#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "TolvanderApp/Platform/VolumeEjector.h"

namespace tolvander::platform::linux_ {

// Ejects through udisks2 on the system bus (org.freedesktop.UDisks2, version 2.7.3 and later): every mounted
// file system of the drive is unmounted, the asked one first, so that nothing has changed when that is busy;
// then the drive puts its medium out or, where it can't, is switched off. When another file system of the
// drive is busy, the drive isn't ejected.
class UDisksEjector final : public app::VolumeEjector {
 public:
  // The volumes outlive this object.
  explicit UDisksEjector(const LinuxVolumes& volumes) : volumes_(volumes) {}

  // Connects to the bus for this one time. A slow drive that still writes is waited for up to five minutes.
  void unmountAndEject(const FileURL& volume) override;

 private:
  const LinuxVolumes& volumes_;
};

}  // namespace tolvander::platform::linux_
