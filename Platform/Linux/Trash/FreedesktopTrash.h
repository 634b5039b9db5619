#pragma once

#include "TolvanderApp/Platform/TrashOperations.h"

namespace tolvander::platform::linux_ {

// The Trash of removable volumes, compatible with file managers: a Trash folder at the top of each volume
// (see TrashFolder). Also works for a folder that counts as a volume without being a mount point: it has its
// own Trash, and its files never leave the folder.
//
// Renames use renameat2(RENAME_NOREPLACE). On file systems without it (exFAT through FUSE, for example) the
// move fails, and the file stays where it is.
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

  // The UUID of the volume that is mounted at the directory or above it. If it has none: for a folder below
  // the mount point an identifier of the file system, if that has one that survives a remount; absent for
  // the mount point itself, because volumes without a UUID aren't managed.
  std::optional<std::string> volumeUUIDString(const FileURL& directory) override;

  bool keepsTopLevelFoldersInPrivate() const override { return false; }
};

}  // namespace tolvander::platform::linux_
