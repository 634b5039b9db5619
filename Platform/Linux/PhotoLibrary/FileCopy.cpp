#include "Platform/Linux/PhotoLibrary/FileCopy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/PhotoLibrary/OriginalContent.h"
#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

OwnedDescriptor newFile(const OwnedDescriptor& folder, const std::string& name, const FileURL& url) {
  OwnedDescriptor file(retryOnEINTR(
      [&] { return openat(folder.number(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
  if (!file) {
    throw PosixError(errno, "create", url);
  }
  return file;
}

std::string copyContent(const OwnedDescriptor& source, const OwnedDescriptor& copy, const FileURL& url) {
  const bool isShared = ioctl(copy.number(), FICLONE, source.number()) == 0;
  const auto write = [&](std::span<const std::byte> chunk) {
    if (!isShared) {
      writeAll(copy, chunk, url);
    }
  };
  std::string sha256 = sha256Of(isShared ? copy : source, url, {}, write);
  // Starts the writeback while the next file is copied. Only a hint: the fsync that follows makes it
  // durable.
  sync_file_range(copy.number(), 0, 0, SYNC_FILE_RANGE_WRITE);
  return sha256;
}

void takeOverDate(const OwnedDescriptor& source, const OwnedDescriptor& copy, const FileURL& url) {
  struct stat status {};
  if (fstat(source.number(), &status) != 0) {
    throw PosixError(errno, "look at", url);
  }
  const std::array<timespec, 2> times = {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, status.st_mtim};
  if (futimens(copy.number(), times.data()) != 0) {
    throw PosixError(errno, "set the date of", url);
  }
}

}  // namespace tolvander::platform::linux_
