#pragma once

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// Unmounts and ejects a drive.
class VolumeEjector {
 public:
  virtual ~VolumeEjector() = default;

  // Unmounts every volume of the drive on which `volume` is mounted, that one first, and ejects the drive; a
  // drive of which a volume can't be unmounted isn't ejected. Blocks until the system is done; for any thread
  // but the main one. Throws EjectError, whose description gives the user the reason.
  virtual void unmountAndEject(const FileURL& volume) = 0;
};

}  // namespace tolvander::app
