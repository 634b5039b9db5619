#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/MediaSourceAdapter.h"

namespace tolvander {

// Decides whether a mounted volume is a camera and which media files it holds. Reads the volume's folder tree
// and, of a file, at most its first 512 bytes; has no state. All operations block on the file system and are
// safe on every thread.
class MountedVolumeMediaSource final : public MediaSourceAdapter {
 public:
  const std::string& adapterIdentifier() const override { return adapterIdentifier_; }

  // Absent for "/", for a volume that no eligible profile matches, and for one that left before it was looked
  // at. A profile is eligible when it is enabled and, if it carries a bookmark, is bound to this very volume.
  // Throws MediaSourceError when the volume may not be read, CancellationError (looked for on entry, before
  // each media root and before each file), and the file system's error where listing fails: never a partial
  // list.
  std::optional<DetectedDevice> detect(const FileURL& volumeURL, const std::vector<DeviceProfile>& profiles,
                                       const CancellationToken& token = {}) const override;

  // What the volume is called: its name, or the last component of the path where it has none or can't be
  // asked.
  static std::string displayName(const FileURL& volumeURL);

  // Whether the volume answers to the profile. Trouble with a file or folder counts as no evidence.
  static bool matches(const FileURL& volumeURL, const DeviceProfile& profile);

  // The media files below the profile's media roots, sorted by relative path as a file manager sorts. A file
  // that two roots reach is listed once; hidden files, links, insides of packages, and whatever a link leads
  // to outside the volume are left out. Throws like detect.
  static std::vector<CameraMediaFile> mediaFiles(const FileURL& volumeURL, const DeviceProfile& profile,
                                                 const CancellationToken& token = {});

  // A profile for a volume that the user adds by hand, keyed on the volume's UUID, or on its name where it
  // has none.
  static DeviceProfile customProfile(const FileURL& volumeURL, std::vector<std::string> mediaRoots);

  // Whether an error of looking at a volume means that it may not be read, or that it isn't there any more.
  static bool isAccessDeniedError(const Error& error);
  static bool isMissingVolumeError(const Error& error);

 private:
  std::string adapterIdentifier_ = "mounted-volume";
};

}  // namespace tolvander
