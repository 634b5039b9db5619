#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/Volumes.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// Finds out which mounted volumes could be cameras. Has no state; any thread.
class CameraVolumeDiscovery {
 public:
  CameraVolumeDiscovery() = delete;

  // The mounted removable or ejectable volumes of this machine, in the order of `volumes`. Leaves out the
  // system's own disks, network shares, and volumes whose values can't be read. Throws what `volumes` throws.
  static std::vector<MountedVolume> mountedVolumes(const Volumes& volumes);

  // Where these are mounted.
  static std::vector<FileURL> mountedURLs(const Volumes& volumes);

  // What a volume is called: its name, or the last component of its path where it has none.
  static std::string displayName(const MountedVolume& volume);

  // Whether one of the volumes is mounted at the URL, however it is spelt.
  static bool contains(const std::vector<MountedVolume>& volumes, const FileURL& url);

  // The same of mountedVolumes. Throws likewise.
  static bool isStillMounted(const FileURL& url, const Volumes& volumes);

  // The innermost of `mountedVolumes` that is `url` or has it below.
  static std::optional<FileURL> containingVolume(const FileURL& url,
                                                 const std::vector<FileURL>& mountedVolumes);

  // The folders in which the media of a card lie, below its root: those of "DCIM" and "SPIDCIM" for which
  // `fileExists` finds something, or the root itself, "", where it finds neither.
  static std::vector<std::string> inferredMediaRoots(const FileURL& volume,
                                                     const std::function<bool(const FileURL&)>& fileExists);
};

}  // namespace tolvander::app
