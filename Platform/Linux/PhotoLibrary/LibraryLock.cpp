#include "Platform/Linux/PhotoLibrary/LibraryLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

OwnedDescriptor openLockFile(const FileURL& file) {
  OwnedDescriptor descriptor(retryOnEINTR([&] {
    return open(file.path().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  }));
  if (!descriptor) {
    throw PosixError(errno, "open", file);
  }
  return descriptor;
}

// No descriptor if another process has the lock. Throws PosixError if the file system doesn't support locks.
OwnedDescriptor lockedFile(const FileURL& url) {
  const auto lock = [&](const OwnedDescriptor& file) {
    if (retryOnEINTR([&] { return flock(file.number(), LOCK_EX | LOCK_NB); }) == 0) {
      return true;
    }
    if (errno != EWOULDBLOCK) {
      throw PosixError(errno, "lock", url);
    }
    return false;
  };
  return openAndLock(
      url, [&] { return openLockFile(url); }, lock);
}

}  // namespace

LibraryLock::LibraryLock(const LibraryFolder& folder, std::chrono::milliseconds busyTimeout)
    : file_(lockedFile(folder.lockFile())), url_(folder.lockFile()) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds longestPause(50);
  const Clock::time_point end = Clock::now() + busyTimeout;
  std::chrono::milliseconds pause(1);
  while (!file_) {
    if (Clock::now() >= end) {
      throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                                "another program is changing the photo library");
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, longestPause);
    file_ = lockedFile(url_);
  }
}

std::optional<LibraryLock> LibraryLock::ifFree(const LibraryFolder& folder) {
  try {
    if (OwnedDescriptor file = lockedFile(folder.lockFile())) {
      return LibraryLock(std::move(file), folder.lockFile());
    }
  } catch (const PosixError&) {
    return std::nullopt;
  }
  return std::nullopt;
}

void LibraryLock::requireHeld() const {
  if (!isStillNamed(file_, url_)) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the lock file of the photo library was removed during a change");
  }
}

}  // namespace tolvander::platform::linux_
