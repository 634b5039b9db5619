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

// What the file layer says of one file or folder. All operations block on the file system, are safe on every
// thread, and throw PosixError where they say that they throw.
//
// Hidden, everywhere below, is an entry whose name begins with a dot, and one with FAT's hidden attribute
// where the system tells of it. A package is a folder that people see as one document, told by its extension
// without regard to case: one of the bundle types of the Finder (see isPackage).

struct FileResourceValues {
  bool isRegularFile = false;
  bool isDirectory = false;
  bool isSymbolicLink = false;
  std::optional<std::int64_t> fileSize;         // bytes; of regular files only
  std::optional<Date> contentModificationDate;  // absent where a Date can't reach it

  friend bool operator==(const FileResourceValues&, const FileResourceValues&) = default;
};

// Of the entry itself: a symbolic link is not followed. Throws. Dates are instants as the system tells them,
// which is right for files that this system wrote.
FileResourceValues fileResourceValues(const FileURL& url);

// The same of a file that a camera wrote. FAT (FAT12 to FAT32, exFAT) keeps what the camera's clock showed
// and no zone: there the date is the instant at which a clock in `zone` shows that. On other file systems,
// and for folders, dates are as above. Throws.
FileResourceValues cameraFileResourceValues(const FileURL& url, const TimeZone& zone);

// Whether there is a file or folder of any kind at the end of the path, links followed. What can't be looked
// at (no permission, a broken link, a vanished volume) does not exist. Never throws.
bool fileExists(const FileURL& url);

// Whether a folder of this name counts as a package.
bool isPackage(const FileURL& directory);

// The entries of one folder, hidden ones left out, in the file system's order. Throws: EACCES or EPERM
// without permission, ENOENT or ENOTDIR where there is no such folder, EIO and others as the system says.
std::vector<FileURL> contentsOfDirectory(const FileURL& directory);

// Walks a folder and everything below it, each folder before its contents, in the file system's order. Hidden
// entries are neither given nor entered; packages are given and not entered; symbolic links are given and not
// followed. The starting folder itself is not given, may be hidden, a package or a link, and is entered all
// the same.
//
// Holds no descriptor between two calls and at most one folder's names per level in memory.
class DirectoryEnumerator {
 public:
  // At the root of a volume the system's own folders are hidden as well: lost+found, System Volume
  // Information and $RECYCLE.BIN, in any case. People see none of them, and some can't be read.
  enum class Root { folder, volume };

  // Told of a folder that can't be read, with the error; answers whether to go on without what is missing
  // there.
  using ErrorHandler = std::function<bool(const FileURL& url, const PosixError& error)>;

  // Absent when there is no folder at `root`. A folder that can't be opened for another reason is reported to
  // the handler by the first call of next(). Without a handler the walk goes on past every error.
  static std::optional<DirectoryEnumerator> at(const FileURL& root, ErrorHandler handler = nullptr,
                                               Root kind = Root::folder);

  ~DirectoryEnumerator();
  DirectoryEnumerator(DirectoryEnumerator&&) noexcept;
  DirectoryEnumerator& operator=(DirectoryEnumerator&&) noexcept;

  // The next entry; absent at the end, which an answer of false from the handler brings about at once.
  std::optional<FileURL> next();

 private:
  struct Walk;
  explicit DirectoryEnumerator(std::unique_ptr<Walk> walk);
  std::unique_ptr<Walk> walk_;
};

}  // namespace tolvander
