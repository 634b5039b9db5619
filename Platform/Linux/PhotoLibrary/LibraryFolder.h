#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// The folder of the library and the ways into it. Paths are relative to it, such as
// "Originals/2026/2026-11-20/PICT0001.JPG", and are never trusted, because the catalogue that they come from
// may be damaged or from elsewhere. They lead outside the folder only through links that people made below
// it, such as a link in place of a year that was moved to another disk. The folder itself may be reached
// through links.
//
// A value; safe on every thread. Nothing is held open. Everything that fails throws PosixError, with EINVAL
// for a path that can't be one of the library, and ELOOP or ENOTDIR where a link or a file is in the way.
class LibraryFolder {
 public:
  explicit LibraryFolder(FileURL url) : url_(std::move(url)) {}

  static constexpr std::string_view originals = "Originals";
  // Where files are written before they get their names. Only this program's files are there.
  static constexpr std::string_view incoming = "Originals/.incoming";

  const FileURL& url() const { return url_; }
  FileURL catalogueFile() const;
  FileURL lockFile() const { return url_.appending("Library.lock"); }

  // Whether this process may change it and its catalogue. False where there is none.
  bool isWritable() const;

  // What happens at a link below the library's folder. The folder for incoming files is never reached
  // through one, because what is in it is deleted.
  enum class Links { followed, refused };

  // For use with the *at calls.
  OwnedDescriptor open() const;
  OwnedDescriptor openFolder(std::string_view path, Links links = Links::followed) const;

  // A regular file, for reading.
  OwnedDescriptor openFile(std::string_view path, Links links) const;

  // Opens a folder, making it and the missing ones above it durably. Adds the paths of those that it made.
  OwnedDescriptor makeFolder(std::string_view path, std::vector<std::string>& made) const;

 private:
  FileURL url_;
};

// Whether a path can be one of an original: below Originals, and with no component that leads elsewhere.
bool isOriginalPath(std::string_view path);

// Where originals of that day in `zone` go: "Originals/2026/2026-11-20".
std::string folderOfDay(Date date, const TimeZone& zone);

// The part before the last slash, and the part behind it.
std::string_view folderOf(std::string_view path);
std::string_view nameIn(std::string_view path);

}  // namespace tolvander::platform::linux_
