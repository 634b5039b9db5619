#pragma once

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

// A directory opened with O_PATH, and the path by which it was reached. The path is only for texts and
// errors; operations use the descriptor, so that renaming the directory doesn't affect them.
class PathDescriptor final : public app::DirectoryDescriptor {
 public:
  PathDescriptor(OwnedDescriptor descriptor, FileURL url)
      : descriptor_(std::move(descriptor)), url_(std::move(url)) {}

  int number() const { return descriptor_.number(); }
  const FileURL& url() const { return url_; }

  // Throws PosixError for anything but a directory, including a symbolic link to one.
  static PathDescriptor open(int parent, const std::string& name, FileURL url) {
    OwnedDescriptor descriptor(retryOnEINTR(
        [&] { return openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
    if (!descriptor) {
      throw PosixError(errno, "open the folder", url);
    }
    return {std::move(descriptor), std::move(url)};
  }

  PathDescriptor openDirectory(const std::string& name) const {
    return open(number(), name, url_.appending(name));
  }

  // Every DirectoryDescriptor that is passed to FreedesktopTrash was created by it, and therefore is a
  // PathDescriptor.
  static const PathDescriptor& of(const app::DirectoryDescriptor& descriptor) {
    return dynamic_cast<const PathDescriptor&>(descriptor);
  }

 private:
  OwnedDescriptor descriptor_;
  FileURL url_;
};

}  // namespace tolvander::platform::linux_
