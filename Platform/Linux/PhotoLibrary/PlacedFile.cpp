#include "Platform/Linux/PhotoLibrary/PlacedFile.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>

#include "TolvanderCore/SystemErrors.h"
#include "TolvanderCore/UUID.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::string_view incomingExtension = ".part";

Date modificationDate(const struct stat& status) {
  return dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec).value_or(Date());
}

// All of them can rename without replacing.
bool hasLastingInodeNumbers(const Descriptor& folder) {
  constexpr long xfs = 0x58465342;  // which linux/magic.h only has since 6.0
  constexpr std::array<long, 5> lasting = {EXT4_SUPER_MAGIC, BTRFS_SUPER_MAGIC, xfs, F2FS_SUPER_MAGIC,
                                           TMPFS_MAGIC};
  struct statfs status {};
  return fstatfs(folder.number(), &status) == 0 &&
         std::find(lasting.begin(), lasting.end(), status.f_type) != lasting.end();
}

}  // namespace

std::string newIncomingName() { return UUID::random().text() + std::string(incomingExtension); }

bool isIncomingName(std::string_view name) {
  return name.ends_with(incomingExtension) &&
         UUID::fromText(name.substr(0, name.size() - incomingExtension.size()));
}

Placement placementOf(const Descriptor& file, const std::string& path) {
  struct stat status {};
  if (fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "look at", FileURL("/" + path));
  }
  return {.path = path,
          .inode = status.st_ino,
          .byteCount = status.st_size,
          .modified = modificationDate(status)};
}

bool isFileOf(const Placement& placement, const Descriptor& folder, const std::string& name) {
  constexpr std::chrono::seconds coarsestStep(2);
  struct stat status {};
  if (fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode)) {
    return false;
  }
  const DateDistance difference = distanceBetween(modificationDate(status), placement.modified);
  const bool isNoLonger = status.st_size <= placement.byteCount;
  if (hasLastingInodeNumbers(folder)) {
    return status.st_ino == placement.inode && difference == DateDistance::zero() && isNoLonger;
  }
  return status.st_size == 0 || (difference <= coarsestStep && isNoLonger);
}

bool renameWithoutReplacing(const Descriptor& fromFolder, const std::string& from, const Descriptor& toFolder,
                            const std::string& to, const FileURL& folder) {
  if (renameat2(fromFolder.number(), from.c_str(), toFolder.number(), to.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno == EEXIST) {
    return false;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    throw PosixError(errno, "name an original in", folder);
  }
  const Descriptor kept(uninterrupted(
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
