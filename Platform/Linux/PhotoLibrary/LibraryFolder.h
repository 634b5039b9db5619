#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// The folder of the library, and opening of files in it. Paths are relative to it, such as
// "Originals/2026/2026-11-20/PICT0001.JPG", and are not trusted, because the catalogue that they come from
// may be damaged or from another machine. They lead outside of the folder only through symbolic links that
// users made below it, for example in place of a year that was moved to another disk. The folder itself may
// be reached through links.
//
// A value; safe on every thread. Keeps nothing open. Errors are PosixError: EINVAL for a path that isn't
// below Originals, and ELOOP or ENOTDIR for a refused link or a file in the way.
class LibraryFolder {
 public:
  explicit LibraryFolder(FileURL url) : url_(std::move(url)) {}

  static constexpr std::string_view originals = "Originals";
  // For files that don't have their final names yet. Contains only files of this program.
  static constexpr std::string_view incoming = "Originals/.incoming";

  const FileURL& url() const { return url_; }
  FileURL catalogueFile() const;
  FileURL lockFile() const { return url_.appending("Library.lock"); }

  // Whether this process may change the folder and its catalogue. False if one of them doesn't exist.
  bool isWritable() const;

  // How symbolic links below the library's folder are treated. The folder for incoming files is never
  // reached through a link, because its files are deleted.
  enum class Links { followed, refused };

  // Opens the folder, or one below it, for the *at system calls.
  OwnedDescriptor open() const;
  OwnedDescriptor openFolder(std::string_view path, Links links = Links::followed) const;

  // Opens a regular file for reading.
  OwnedDescriptor openFile(std::string_view path, Links links) const;

  // Opens a folder. Creates it and the missing ones above it, durably, and appends the paths of the created
  // ones to `made`.
  OwnedDescriptor makeFolder(std::string_view path, std::vector<std::string>& made) const;

 private:
  FileURL url_;
};

// Whether a path is below Originals, without empty, "." or ".." components or NUL characters.
bool isOriginalPath(std::string_view path);

// The folder for originals of that day in `zone`: "Originals/2026/2026-11-20".
std::string folderOfDay(Date date, const TimeZone& zone);

// The part before the last slash, and the part after it.
std::string_view folderOf(std::string_view path);
std::string_view nameIn(std::string_view path);

}  // namespace tolvander::platform::linux_
