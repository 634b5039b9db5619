#include "Platform/Linux/Files/Durable.h"

#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/Files/OpenFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

bool tryMakeDurable(const OwnedDescriptor& descriptor) {
  return descriptor && retryOnEINTR([&] { return fsync(descriptor.number()); }) == 0;
}

void makeDurable(const OwnedDescriptor& descriptor, const FileURL& url) {
  if (!tryMakeDurable(descriptor)) {
    throw PosixError(errno, "make durable", url);
  }
}

void makeFolderDurable(const FileURL& folder) { makeDurable(openFolder(folder), folder); }

}  // namespace tolvander::platform::linux_
