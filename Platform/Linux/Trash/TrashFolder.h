#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Trash/PathDescriptor.h"
#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// A user's Trash in the top folder of a volume (freedesktop.org Trash specification 1.0, "Trash
// directories"): the items are in "files", and "info" has a file for each with its original path and the
// date. The info file exists before the item is moved in, and until it was moved out, so that a file manager
// can always restore the item. If the process dies in between, at worst an info file without an item is
// left.
//
// All accesses are relative to the descriptor of "files". All operations throw PosixError, and have then
// changed nothing.
class TrashFolder {
 public:
  // The path of the "files" folder in the user's Trash of the volume at `top`: in ".Trash/<uid>" if the
  // administrator made a valid ".Trash" (a folder with the sticky bit, not a link), otherwise in
  // ".Trash-<uid>". With `create`, missing folders are created durably, accessible for this user only.
  // Throws ENOENT if there is none, EPERM if the folder belongs to another user.
  static FileURL filesFolderAt(const FileURL& top, bool create);

  // The path of the "files" folder that `place` is or is below, judged by the text of the path; absent if
  // there is none.
  static std::optional<FileURL> enclosingFilesFolder(const FileURL& place);

  // The Trash of this "files" folder; absent if it isn't part of a Trash of this user.
  static std::optional<TrashFolder> ofFiles(const PathDescriptor& files);

  // Moves an entry into the Trash under a new name. Returns false if the name is taken.
  bool moveIn(const PathDescriptor& from, const std::string& name, const std::string& newName);

  // Renames an item within the Trash.
  void rename(const std::string& name, const std::string& newName);

  // Moves an item out of the Trash. Durable when it returns, if the file system supports that.
  void moveOut(const std::string& name, const PathDescriptor& to, const std::string& newName);

  // Deletes an item.
  void remove(const std::string& name);

  bool isSameAs(const TrashFolder& other) const;

  // The items according to the info files. Skips those that aren't regular files or can't be parsed.
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

  OwnedDescriptor files_;  // both open for reading, which fsync needs
  OwnedDescriptor info_;
  FileURL filesURL_;
  FileURL top_;  // paths in the info files are relative to it
};

// Renames a file without replacing another one. On a FAT it is durable when it returns, because otherwise
// unplugging the card could damage it. Throws PosixError: EEXIST if the name is taken, EINVAL if the file
// system doesn't support it, and others.
void moveExclusively(int from, const std::string& name, int to, const std::string& newName,
                     const FileURL& url);

}  // namespace tolvander::platform::linux_
