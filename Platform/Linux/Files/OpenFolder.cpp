#include "Platform/Linux/Files/OpenFolder.h"

#include <fcntl.h>

#include <cerrno>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

OwnedDescriptor openFolder(const FileURL& folder) {
  OwnedDescriptor descriptor(
      retryOnEINTR([&] { return open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!descriptor) {
    throw PosixError(errno, "open the folder", folder);
  }
  return descriptor;
}

FolderStream folderStream(OwnedDescriptor folder) {
  FolderStream stream(folder ? fdopendir(folder.number()) : nullptr);
  if (stream) {
    folder.release();  // closedir closes it
  }
  return stream;
}

}  // namespace tolvander::platform::linux_
