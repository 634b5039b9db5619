#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Trash/PathDescriptor.h"
#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// One user's Trash in the top folder of a volume (freedesktop.org Trash specification 1.0): the items in
// "files", and for each of them in "info" where it came from. An item has its info file before it is in the
// Trash and until it has left, so at no moment is there one that a file manager can't put back; when the
// process dies in between, at worst an info file stays whose item is gone.
//
// Everything is reached through the descriptor of "files". All operations throw PosixError and have then
// changed nothing.
class TrashFolder {
 public:
  // The path of the "files" folder in the user's Trash of `top`: ".Trash/<uid>" where an administrator has
  // made a ".Trash" that can be trusted (a folder with the sticky bit, and not a link), otherwise
  // ".Trash-<uid>". With `create`, made where it is missing, for this user alone and durably. Throws ENOENT
  // where there is none, EPERM where what there is belongs to somebody else.
  static FileURL filesFolderAt(const FileURL& top, bool create);

  // The path of the "files" folder that `place` is or lies in, going by its text; absent where there is none.
  static std::optional<FileURL> enclosingFilesFolder(const FileURL& place);

  // The Trash whose "files" folder this is; absent when it is no user's Trash, or not this user's.
  static std::optional<TrashFolder> ofFiles(const PathDescriptor& files);

  // Moves an entry into the Trash under a new name. False when that name is taken.
  bool moveIn(const PathDescriptor& from, const std::string& name, const std::string& newName);

  // Gives an item another name.
  void rename(const std::string& name, const std::string& newName);

  // Moves an item out of the Trash; durable when it returns, where the volume lets it be.
  void moveOut(const std::string& name, const PathDescriptor& to, const std::string& newName);

  // Removes an item for good.
  void remove(const std::string& name);

  bool isSameAs(const TrashFolder& other) const;

  // What the info files say. One that isn't a regular file, or that can't be understood, says nothing.
  std::vector<app::TrashedItem> items() const;

 private:
  TrashFolder(OwnedDescriptor files, OwnedDescriptor info, FileURL filesURL, FileURL top)
      : files_(std::move(files)),
        info_(std::move(info)),
        filesURL_(std::move(filesURL)),
        top_(std::move(top)) {}

  void writeInfo(const std::string& name, const FileURL& item);
  void removeInfo(const std::string& name);
  std::optional<app::TrashedItem> itemOfInfo(const std::string& infoFileName) const;

  OwnedDescriptor files_;  // both for reading, so that they can be made durable
  OwnedDescriptor info_;
  FileURL filesURL_;
  FileURL top_;  // what the paths in the info files are relative to
};

// Renames where nothing bears the new name; on FAT, so that it lasts when the card is pulled out. Throws
// PosixError: EEXIST, EINVAL where the file system can't rename that way, and others.
void moveExclusively(int from, const std::string& name, int to, const std::string& newName,
                     const FileURL& url);

}  // namespace tolvander::platform::linux_
