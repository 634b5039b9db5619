#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "Platform/Linux/Mounts/Drive.h"
#include "Platform/Linux/Mounts/MountTable.h"
#include "Platform/Linux/System/DescriptorWatcher.h"
#include "TolvanderApp/Platform/Volumes.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// The volumes in the kernel's mount table (/proc/self/mountinfo), with the properties of their drives from
// udev.
//
// A drive is removable if it is on USB, is a card in a slot, or is marked so by udev or the kernel, unless
// the system runs from it. Loop devices and everything else without such a mark count as built in. Virtual
// file systems of the kernel aren't volumes; nor are bind mounts of folders. A volume that is mounted more
// than once is listed with its first mount.
class LinuxVolumes final : public app::Volumes {
 public:
  // The sources of data, which tests replace.
  struct Sources {
    FileURL mountTable = MountTable::ofThisProcess();
    std::function<Drive(dev_t)> drive = Drive::ofDevice;
  };

  // The chosen folders count as volumes on removable drives while they exist. Some are ignored: a folder
  // below a removable drive's mount point, a mount point of the system ("/", "/home", "/var"), and virtual
  // file systems (proc, sysfs). For a folder named DCIM or SPIDCIM its parent counts. Their appearance and
  // disappearance is reported at the next change of the mount table. A mount whose drive was unplugged is
  // not a volume. The watcher must outlive this object.
  explicit LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders = {});
  LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders, Sources sources);

  // Chosen folders come last, with their paths as given. A folder that is also a mounted volume is listed
  // once.
  std::vector<app::MountedVolume> mountedVolumes() const override;

  app::Subscription observeMounts(Observer onMount, Observer onUnmount) override;

  // The source of the volume that is mounted at this path, for example "/dev/sdb1"; empty for a folder.
  // Throws PosixError.
  std::string source(const FileURL& volumeURL) const;

 private:
  class Observation;

  DescriptorWatcher& watcher_;
  std::vector<FileURL> chosenFolders_;
  Sources sources_;
};

}  // namespace tolvander::platform::linux_
