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

// The volumes of the kernel's mount table, with what udev knows of their drives.
//
// A drive counts as one that can be taken out when it is plugged into USB, is a card in a slot, or is marked
// so by udev or the kernel, unless the system itself runs from it. Loop devices, like all else that has no
// such mark, count as built in. A file system of the kernel's own is no volume, nor is a folder of one that
// is mounted a second time; a volume that is mounted at several places is listed at the first.
class LinuxVolumes final : public app::Volumes {
 public:
  // Where the facts come from.
  struct Sources {
    FileURL mountTable = MountTable::ofThisProcess();
    std::function<Drive(dev_t)> drive = Drive::ofDevice;
  };

  // The chosen folders count as volumes on removable drives, for as long as they exist. Those that can be
  // none don't: a folder below a drive that can be taken out, a mount point that belongs to the system ("/",
  // "/home", "/var"), and what the kernel makes up (proc, sysfs). Instead of one that is called DCIM or
  // SPIDCIM the folder that holds it counts. Their coming and going is told at the next change of the mounts.
  // What is still mounted of a drive that was pulled out is no volume.
  // The watcher outlives this object.
  explicit LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders = {});
  LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders, Sources sources);

  // Chosen folders come last, as they were spelt; one that is a volume in any case is listed once.
  std::vector<app::MountedVolume> mountedVolumes() const override;

  app::Subscription observeMounts(Observer onMount, Observer onUnmount) override;

  // The source of the volume that is mounted at this place ("/dev/sdb1"); empty for a folder. Throws
  // PosixError.
  std::string source(const FileURL& volumeURL) const;

 private:
  class Observation;

  DescriptorWatcher& watcher_;
  std::vector<FileURL> chosenFolders_;
  Sources sources_;
};

}  // namespace tolvander::platform::linux_
