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

// A directory opened for searching (O_PATH), with the path that it was reached by. That path is for texts and
// messages; what the descriptor leads to doesn't depend on it.
class PathDescriptor final : public app::DirectoryDescriptor {
 public:
  PathDescriptor(OwnedDescriptor descriptor, FileURL url)
      : descriptor_(std::move(descriptor)), url_(std::move(url)) {}

  int number() const { return descriptor_.number(); }
  const FileURL& url() const { return url_; }

  // Throws PosixError for anything but a directory, a link to one among them.
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

  // All directories that reach the answers to the contract's operations were opened by this platform.
  static const PathDescriptor& of(const app::DirectoryDescriptor& descriptor) {
    return dynamic_cast<const PathDescriptor&>(descriptor);
  }

 private:
  OwnedDescriptor descriptor_;
  FileURL url_;
};

}  // namespace tolvander::platform::linux_
