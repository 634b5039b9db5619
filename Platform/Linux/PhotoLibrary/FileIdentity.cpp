#include "Platform/Linux/PhotoLibrary/FileIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

FileIdentity identityIn(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .byteCount = status.st_size,
          .modified = dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec).value_or(Date())};
}

}  // namespace

FileIdentity identityOf(const OwnedDescriptor& file, const FileURL& url) {
  struct stat status {};
  if (fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "look at", url);
  }
  return identityIn(status);
}

bool isFile(const FileIdentity& identity, const OwnedDescriptor& folder, const std::string& name) {
  struct stat status {};
  return fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode) && identityIn(status) == identity;
}

}  // namespace tolvander::platform::linux_
