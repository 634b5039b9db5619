#include "Platform/Linux/PhotoLibrary/RenameToFreeName.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

bool renameToFreeName(const OwnedDescriptor& fromFolder, const std::string& from,
                      const OwnedDescriptor& toFolder, const std::string& to, const FileURL& folder) {
  if (renameat2(fromFolder.number(), from.c_str(), toFolder.number(), to.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno == EEXIST) {
    return false;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    throw PosixError(errno, "name an original in", folder);
  }
  const OwnedDescriptor reserved(retryOnEINTR(
      [&] { return openat(toFolder.number(), to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
  if (!reserved) {
    if (errno == EEXIST) {
      return false;
    }
    throw PosixError(errno, "name an original in", folder);
  }
  if (renameat(fromFolder.number(), from.c_str(), toFolder.number(), to.c_str()) != 0) {
    const int failure = errno;
    unlinkat(toFolder.number(), to.c_str(), 0);
    throw PosixError(failure, "name an original in", folder);
  }
  return true;
}

}  // namespace tolvander::platform::linux_
