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

std::vector<FileURL> CameraVolumeDiscovery::mountedURLs(const Volumes& volumes) {
  std::vector<FileURL> urls;
  for (const MountedVolume& volume : volumes.mountedVolumes()) {
    if (couldBeACamera(volume)) {
      urls.push_back(volume.url);
    }
  }
  return urls;
}

bool CameraVolumeDiscovery::isStillMounted(const FileURL& url, const Volumes& volumes) {
  return std::ranges::any_of(mountedURLs(volumes), [wanted = url.standardized()](const FileURL& mounted) {
    return mounted.standardized() == wanted;
  });
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
