#include "Platform/Linux/PhotoLibrary/PlacedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::string_view incomingExtension = ".part";

FileIdentity identityIn(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .byteCount = status.st_size,
          .modified = dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec).value_or(Date())};
}

}  // namespace

std::string newIncomingName() { return UUID::random().text() + std::string(incomingExtension); }

bool isIncomingName(std::string_view name) {
  return name.ends_with(incomingExtension) &&
         UUID::fromText(name.substr(0, name.size() - incomingExtension.size()));
}

std::string carriedName(std::string_view incomingName) { return "." + std::string(incomingName); }

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
  const OwnedDescriptor kept(retryOnEINTR(
      [&] { return openat(toFolder.number(), to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
  if (!kept) {
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
