#pragma once

#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "TolvanderApp/Platform/Bookmarks.h"

namespace tolvander::platform::linux_ {

// Bookmarks of volumes, and of folders that count as volumes. A bookmark is one JSON object:
//
//   "version"           1
//   "volumeUUID"        when there is one; the volume is then found wherever it is mounted
//   "volumeName"        what the volume is called; identifies one without a UUID, together with "device"
//   "device"            its source in the mount table, "/dev/sdb1", if it has no UUID; else empty
//   "mountPoint"        where it was; a bookmark that leads elsewhere is stale
//   "isSecurityScoped"  whether it was made to let the program in again
//
// Linux keeps nobody out of a folder by the program alone, so that access is always granted and there is
// nothing to stop: whether the folder can be read is for the file system to say.
class VolumeBookmarks final : public app::Bookmarks {
 public:
  // The volumes outlive this object.
  explicit VolumeBookmarks(const LinuxVolumes& volumes) : volumes_(volumes) {}

  // A folder that isn't on the volumes' list gets a bookmark of its own, which leads there for as long as it
  // stays on the same file system and at the same place. A path that is no UTF-8 can't be kept.
  std::vector<std::byte> bookmarkData(const FileURL& url, app::BookmarkCreationOptions options) override;

  // Of several places at which the volume is mounted, the one it had. Nothing is ever mounted, and nobody
  // asked.
  app::ResolvedBookmark resolve(std::span<const std::byte> bookmark,
                                app::BookmarkResolutionOptions options) override;

  bool isStillThere(std::span<const std::byte> bookmark, const FileURL& url) override;

  bool startAccessing(const FileURL&) override { return true; }
  void stopAccessing(const FileURL&) override {}

 private:
  const LinuxVolumes& volumes_;
};

}  // namespace tolvander::platform::linux_
