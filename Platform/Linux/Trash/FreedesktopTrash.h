#pragma once

#include "TolvanderApp/Platform/TrashOperations.h"

namespace tolvander::platform::linux_ {

// The Trash of removable volumes as file managers have it: a Trash folder at the top of each volume (see
// TrashFolder). The top is the folder that is named as the volume, so a folder which isn't a mount point has
// a Trash of its own, and nothing of it gets out of that folder.
//
// Renames use renameat2(RENAME_NOREPLACE). File systems without it (exFAT in a user's process, for one)
// refuse the move, and the file stays where it is.
class FreedesktopTrash final : public app::TrashOperations {
 public:
  std::unique_ptr<app::DirectoryDescriptor> openRootDirectory() override;
  std::unique_ptr<app::DirectoryDescriptor> openDirectory(const app::DirectoryDescriptor& parent,
                                                          const std::string& name) override;
  std::unique_ptr<app::FileDescriptor> openFile(const app::DirectoryDescriptor& parent,
                                                const std::string& name) override;
  app::FileStatus status(const app::DirectoryDescriptor& parent, const std::string& name) override;
  void renameExclusively(const app::DirectoryDescriptor& from, const std::string& name,
                         const app::DirectoryDescriptor& to, const std::string& newName) override;
  void remove(const app::DirectoryDescriptor& parent, const std::string& name) override;
  FileURL trashDirectory(const FileURL& place, bool create) override;
  std::optional<FileURL> trashItem(const app::DirectoryDescriptor& parent, const std::string& name,
                                   const app::DirectoryDescriptor& trash) override;
  std::vector<app::TrashedItem> trashedItems(const app::DirectoryDescriptor& trash) override;

  // The UUID of the volume that is mounted above the directory. Where that isn't known, a folder below the
  // mount point still has what tells its file system from others, if that outlasts a remount; the mount point
  // itself has nothing, for a volume without a UUID isn't managed.
  std::optional<std::string> volumeUUIDString(const FileURL& directory) override;

  bool keepsTopLevelFoldersInPrivate() const override { return false; }
};

}  // namespace tolvander::platform::linux_
