#include "TolvanderCore/Files/FileOperations.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

void createPrivateDirectory(const FileURL& directory) {
  if (mkdir(directory.path().c_str(), 0700) != 0) {
    throw PosixError(errno, "create the folder", directory);
  }
}

void removeItem(const FileURL& url) {
  std::error_code failure;
  std::filesystem::remove_all(url.path(), failure);
  if (failure) {
    throw PosixError(failure.value(), "remove", url);
  }
}

void removeItemIgnoringErrors(const FileURL& url) noexcept {
  std::error_code ignored;
  std::filesystem::remove_all(url.path(), ignored);
}

void setContentModificationDate(const FileURL& url, Date date) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
  const std::array<timespec, 2> times = {
      timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
      timespec{.tv_sec = seconds.time_since_epoch().count(), .tv_nsec = (date - seconds).count()}};
  if (utimensat(AT_FDCWD, url.path().c_str(), times.data(), 0) != 0) {
    throw PosixError(errno, "set the date of", url);
  }
}

void requireFreeSpace(const FileURL& folder, std::uint64_t byteCount) {
  struct statvfs status {};
  if (statvfs(folder.path().c_str(), &status) != 0) {
    throw PosixError(errno, "look at", folder);
  }
  if (status.f_blocks == 0 || status.f_frsize == 0) {
    return;  // a file system that doesn't count its blocks
  }
  const std::uint64_t neededBlocks = byteCount / status.f_frsize + (byteCount % status.f_frsize > 0 ? 1 : 0);
  if (neededBlocks > status.f_bavail) {
    throw PosixError(ENOSPC, "write into", folder);
  }
}

}  // namespace tolvander
