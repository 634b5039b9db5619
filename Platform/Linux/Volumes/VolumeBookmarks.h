#pragma once

#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "TolvanderApp/Platform/Bookmarks.h"

namespace tolvander::platform::linux_ {

// Bookmarks of volumes, and of folders that count as volumes. A bookmark is one JSON object:
//
//   "version"           1
//   "volumeUUID"        if it has one; the volume is then found wherever it is mounted
//   "volumeName"        the name of the volume; identifies a volume without a UUID, together with "device"
//   "device"            its source in the mount table, "/dev/sdb1", if it has no UUID; else empty
//   "mountPoint"        where it was; a bookmark that resolves to another path is stale
//   "isSecurityScoped"  whether it was created to grant access again
//
// Linux doesn't restrict access by program, so that access is always granted; whether the folder can be read
// depends on its permissions.
class VolumeBookmarks final : public app::Bookmarks {
 public:
  // The volumes must outlive this object.
  explicit VolumeBookmarks(const LinuxVolumes& volumes) : volumes_(volumes) {}

  // A folder that isn't a listed volume gets a bookmark that resolves as long as the folder stays on the
  // same file system and at the same path. Fails for a path that isn't UTF-8.
  std::vector<std::byte> bookmarkData(const FileURL& url, app::BookmarkCreationOptions options) override;

  // If the volume is mounted more than once, prefers the bookmark's mount point. Never mounts or prompts.
  app::ResolvedBookmark resolve(std::span<const std::byte> bookmark,
                                app::BookmarkResolutionOptions options) override;

  bool isStillThere(std::span<const std::byte> bookmark, const FileURL& url) override;

  bool startAccessing(const FileURL&) override { return true; }
  void stopAccessing(const FileURL&) override {}

 private:
  const LinuxVolumes& volumes_;
};

}  // namespace tolvander::platform::linux_
