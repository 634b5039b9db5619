#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/MediaSourceAdapter.h"

namespace tolvander {

// Decides whether a mounted volume is a camera, and lists its media files. Reads the volume's folders and at
// most the first 512 bytes of a file. Stateless. All operations block and are safe on every thread.
class MountedVolumeMediaSource final : public MediaSourceAdapter {
 public:
  const std::string& adapterIdentifier() const override { return adapterIdentifier_; }

  // Absent for "/", for a volume that no eligible profile matches, and for one that was unmounted before it
  // was read. A profile is eligible if it is enabled and, if it has a bookmark, bound to this volume. Throws
  // MediaSourceError without permission to read the volume, CancellationError (checked on entry, before each
  // media root and before each file), and PosixError if listing fails: a list is never partial.
  std::optional<DetectedDevice> detect(const FileURL& volumeURL, const std::vector<DeviceProfile>& profiles,
                                       const CancellationToken& token = {}) const override;

  // The volume's name, or the last component of its path if it has none or the name can't be read.
  static std::string displayName(const FileURL& volumeURL);

  // Whether the volume matches the profile's rules. A file or folder that can't be read doesn't match.
  static bool matches(const FileURL& volumeURL, const DeviceProfile& profile);

  // The media files in the profile's media roots, sorted by relative path as a file manager sorts. A file
  // that two roots contain is listed once. Hidden files, links, the contents of packages, and files outside
  // the volume are left out. Throws like detect.
  static std::vector<CameraMediaFile> mediaFiles(const FileURL& volumeURL, const DeviceProfile& profile,
                                                 const CancellationToken& token = {});

  // A profile for a volume that the user adds, which matches the volume's UUID, or its name if it has no
  // UUID.
  static DeviceProfile customProfile(const FileURL& volumeURL, std::vector<std::string> mediaRoots);

  // Whether an error of reading a volume means a lack of permission, or that the volume is no longer there.
  static bool isAccessDeniedError(const Error& error);
  static bool isMissingVolumeError(const Error& error);

 private:
  std::string adapterIdentifier_ = "mounted-volume";
};

}  // namespace tolvander
