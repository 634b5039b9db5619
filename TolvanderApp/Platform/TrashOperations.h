#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What the file system says of one entry.
struct FileStatus {
  enum class Kind { regularFile, directory, symbolicLink, other };

  Kind kind = Kind::other;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;  // with `device`, tells files apart while one of them is held open
  std::uint64_t linkCount = 0;
  std::int64_t size = 0;                 // bytes
  std::int64_t modificationSeconds = 0;  // since 1970
  std::int64_t modificationNanoseconds = 0;
  std::int64_t birthSeconds = 0;  // since 1970; both 0 where the file system doesn't keep it
  std::int64_t birthNanoseconds = 0;

  friend bool operator==(const FileStatus&, const FileStatus&) = default;
};

// One open directory, closed with the object. Good for reaching what is in it, whatever becomes of the path
// that it was opened by.
class DirectoryDescriptor {
 public:
  virtual ~DirectoryDescriptor() = default;
};

// One file opened for reading, closed with the object.
class FileDescriptor {
 public:
  virtual ~FileDescriptor() = default;

  virtual FileStatus status() = 0;

  // What identifies the file on its volume for good: the inode number, or, where the file system gives
  // another one at every mount, a number made of what doesn't change: the time of birth and of modification,
  // the size, and how the content begins. Doesn't depend on the file's name. Leaves the position in the file
  // as it is.
  virtual std::uint64_t fileNumber() = 0;

  virtual void seekToStart() = 0;

  // Reads on until `buffer` is full or the file ends, and returns the number of bytes read: 0 only at the
  // end.
  virtual std::size_t read(std::span<std::byte> buffer) = 0;
};

// What the platform keeps of an item in a Trash.
struct TrashedItem {
  std::string name;  // in the Trash directory
  FileURL original;  // where it was, spelt below the path that the Trash directory was opened by
  Date trashedAt;    // in whole seconds; where its note can mean several instants, the latest of them

  friend bool operator==(const TrashedItem&, const TrashedItem&) = default;
};

// The file operations that moving to the Trash and back is made of. All block, are safe on every thread, and
// throw PosixError with the system's number where they fail; then nothing has changed. A name is one path
// component. No operation that takes a descriptor and a name follows a symbolic link.
class TrashOperations {
 public:
  virtual ~TrashOperations() = default;

  virtual std::unique_ptr<DirectoryDescriptor> openRootDirectory() = 0;

  // For searching only: the directory needs not be readable. Throws for anything but a directory, a link to
  // one among them.
  virtual std::unique_ptr<DirectoryDescriptor> openDirectory(const DirectoryDescriptor& parent,
                                                             const std::string& name) = 0;

  // For reading, and never waits for the other end of a pipe. May open what isn't a regular file.
  virtual std::unique_ptr<FileDescriptor> openFile(const DirectoryDescriptor& parent,
                                                   const std::string& name) = 0;

  virtual FileStatus status(const DirectoryDescriptor& parent, const std::string& name) = 0;

  // Atomic, within one volume; EEXIST where there is anything under the new name. Where the file system has
  // no such operation it throws (EINVAL), and a rename that could replace something is never used instead.
  // What the platform keeps beside an item in the Trash (where it came from) goes along, and is gone when the
  // item has left.
  virtual void renameExclusively(const DirectoryDescriptor& from, const std::string& name,
                                 const DirectoryDescriptor& to, const std::string& newName) = 0;

  // Removes a file for good, and with it what the platform keeps beside an item in the Trash.
  virtual void remove(const DirectoryDescriptor& parent, const std::string& name) = 0;

  // The directory that holds the trashed items of the volume that is mounted at `place`, or, where `place`
  // lies in a Trash, of that Trash. It lies on that volume. Throws where there is none that can be trusted;
  // with `create` it is made where it is missing.
  virtual FileURL trashDirectory(const FileURL& place, bool create) = 0;

  // Moves an item to the Trash directory of its volume, under a name of the system's own choice that was
  // free, and gives its new path, spelt below the path of `trash`; absent when the system doesn't say. From
  // then on the user's file manager shows the item in the Trash and can put it back.
  virtual std::optional<FileURL> trashItem(const DirectoryDescriptor& parent, const std::string& name,
                                           const DirectoryDescriptor& trash) = 0;

  // The items of an open Trash directory of which the platform itself keeps where they came from, in no
  // promised order. An item that is named need not be there any more. Throws where the Trash can't be read as
  // a whole. A platform that keeps no such notes answers with none.
  virtual std::vector<TrashedItem> trashedItems(const DirectoryDescriptor& trash) = 0;

  // The UUID of the volume that `directory` lies on, the same for every directory of one volume; absent where
  // it has none.
  virtual std::optional<std::string> volumeUUIDString(const FileURL& directory) = 0;

  // Whether "/tmp" and "/var" are symbolic links of the system into "/private".
  virtual bool keepsTopLevelFoldersInPrivate() const = 0;
};

}  // namespace tolvander::app
