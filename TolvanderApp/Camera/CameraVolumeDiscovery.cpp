#include "TolvanderApp/CameraVolumeDiscovery.h"

#include <algorithm>

namespace tolvander::app {

namespace {

bool couldBeACamera(const MountedVolume& volume) {
  const auto& values = volume.values;
  return values && values->isInternal == false && values->isLocal == true &&
         (values->isRemovable == true || values->isEjectable == true);
}

// Only the root of everything has all else below it, and is no camera: by this rule it holds itself alone.
bool holds(const FileURL& volume, const FileURL& url) {
  return url == volume || url.path().starts_with(volume.path() + "/");
}

}  // namespace

std::vector<MountedVolume> CameraVolumeDiscovery::mountedVolumes(const Volumes& volumes) {
  std::vector<MountedVolume> mounted = volumes.mountedVolumes();
  std::erase_if(mounted, [](const MountedVolume& volume) { return !couldBeACamera(volume); });
  return mounted;
}

std::vector<FileURL> CameraVolumeDiscovery::mountedURLs(const Volumes& volumes) {
  std::vector<FileURL> urls;
  for (const MountedVolume& volume : mountedVolumes(volumes)) {
    urls.push_back(volume.url);
  }
  return urls;
}

std::string CameraVolumeDiscovery::displayName(const MountedVolume& volume) {
  return volume.values && volume.values->name ? *volume.values->name
                                              : std::string(volume.url.lastPathComponent());
}

bool CameraVolumeDiscovery::contains(const std::vector<MountedVolume>& volumes, const FileURL& url) {
  return std::ranges::any_of(volumes, [wanted = url.standardized()](const MountedVolume& volume) {
    return volume.url.standardized() == wanted;
  });
}

bool CameraVolumeDiscovery::isStillMounted(const FileURL& url, const Volumes& volumes) {
  return contains(mountedVolumes(volumes), url);
}

std::optional<FileURL> CameraVolumeDiscovery::containingVolume(const FileURL& url,
                                                               const std::vector<FileURL>& mountedVolumes) {
  const FileURL inner = url.standardized();
  std::optional<FileURL> innermost;
  for (const FileURL& volume : mountedVolumes) {
    const FileURL outer = volume.standardized();
    if (holds(outer, inner) &&
        (!innermost || outer.path().size() > innermost->standardized().path().size())) {
      innermost = volume;
    }
  }
  return innermost;
}

std::vector<std::string> CameraVolumeDiscovery::inferredMediaRoots(
    const FileURL& volume, const std::function<bool(const FileURL&)>& fileExists) {
  std::vector<std::string> roots;
  for (const char* const name : {"DCIM", "SPIDCIM"}) {
    if (fileExists(volume.appending(name))) {
      roots.emplace_back(name);
    }
  }
  return roots.empty() ? std::vector<std::string>{""} : roots;
}

}  // namespace tolvander::app
