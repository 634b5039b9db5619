#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander {

// Properties of files and the contents of folders. All operations block on the file system and may be called
// on any thread. Those that say "Throws" throw PosixError.
//
// An entry is hidden if its name begins with a dot, or if it has FAT's hidden attribute and the system
// reports that. A package is a folder that users see as one document: its extension, in any case, is one of
// the Finder's bundle types.

struct FileResourceValues {
  bool isRegularFile = false;
  bool isDirectory = false;
  bool isSymbolicLink = false;
  std::optional<std::int64_t> fileSize;         // in bytes; regular files only
  std::optional<Date> contentModificationDate;  // absent if outside the range of Date

  friend bool operator==(const FileResourceValues&, const FileResourceValues&) = default;
};

// A symbolic link is not followed. Dates are the instants that the system reports, which are right for files
// that this system wrote. Throws.
FileResourceValues fileResourceValues(const FileURL& url);

// The same for a file that a camera wrote. FAT (FAT12 to FAT32, exFAT) stores the time that the camera's
// clock showed, without a time zone: that time is read as local time in `zone`. On other file systems, and
// for folders, dates are as above. Throws.
FileResourceValues cameraFileResourceValues(const FileURL& url, const TimeZone& zone);

// Whether the path leads to a file or folder of any kind; links are followed. False if that can't be
// determined (no permission, a broken link, a volume that is gone). Never throws.
bool fileExists(const FileURL& url);

// Whether a folder with this name is a package.
bool isPackage(const FileURL& directory);

// The entries of one folder without hidden ones, in the file system's order. Throws: EACCES or EPERM without
// permission, ENOENT or ENOTDIR if there is no such folder, otherwise the system's error, such as EIO.
std::vector<FileURL> contentsOfDirectory(const FileURL& directory);

// Walks a folder and everything below it, each folder before its contents, in the file system's order. Hidden
// entries are skipped, with everything below them. Packages are returned but not entered, and symbolic links
// are returned but not followed. The starting folder is not returned, and is entered even if it is hidden, a
// package or a link.
//
// Between two calls no descriptor is open. In memory are the names of at most one folder per level.
class DirectoryEnumerator {
 public:
  // At the root of a volume the system's own folders are hidden as well: lost+found, System Volume
  // Information and $RECYCLE.BIN, in any case. Users don't see them, and some can't be read.
  enum class Root { folder, volume };

  // Called with a folder that can't be read and the error. Returns whether to continue without the rest of
  // that folder.
  using ErrorHandler = std::function<bool(const FileURL& url, const PosixError& error)>;

  // Absent if there is no folder at `root`. If it can't be opened for another reason, the first call of
  // next() reports that to the handler. Without a handler the walk continues after every error.
  static std::optional<DirectoryEnumerator> at(const FileURL& root, ErrorHandler handler = nullptr,
                                               Root kind = Root::folder);

  ~DirectoryEnumerator();
  DirectoryEnumerator(DirectoryEnumerator&&) noexcept;
  DirectoryEnumerator& operator=(DirectoryEnumerator&&) noexcept;

  // The next entry; absent at the end, and after the handler returned false.
  std::optional<FileURL> next();

 private:
  struct Walk;
  explicit DirectoryEnumerator(std::unique_ptr<Walk> walk);
  std::unique_ptr<Walk> walk_;
};

}  // namespace tolvander
