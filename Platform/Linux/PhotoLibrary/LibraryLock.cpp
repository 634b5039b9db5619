#include "Platform/Linux/PhotoLibrary/LibraryLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

Descriptor openLockFile(const LibraryFolder& folder) {
  const FileURL file = folder.lockFile();
  Descriptor descriptor(uninterrupted([&] {
    return open(file.path().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  }));
  if (!descriptor) {
    throw PosixError(errno, "open", file);
  }
  return descriptor;
}

// Takes the lock if it is free. Throws PosixError where the file system has no such locks.
bool take(const Descriptor& file, const LibraryFolder& folder) {
  if (uninterrupted([&] { return flock(file.number(), LOCK_EX | LOCK_NB); }) == 0) {
    return true;
  }
  if (errno != EWOULDBLOCK) {
    throw PosixError(errno, "lock", folder.lockFile());
  }
  return false;
}

}  // namespace

LibraryLock::LibraryLock(const LibraryFolder& folder, std::chrono::milliseconds patience)
    : file_(openLockFile(folder)) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds longestPause(50);
  const Clock::time_point end = Clock::now() + patience;
  std::chrono::milliseconds pause(1);
  while (!take(file_, folder)) {
    if (Clock::now() >= end) {
      throw app::PhotosPlatformError(app::PhotosPlatformError::Case::internalError,
                                     "another program is changing the photo library");
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, longestPause);
  }
}

std::optional<LibraryLock> LibraryLock::ifFree(const LibraryFolder& folder) {
  try {
    Descriptor file = openLockFile(folder);
    if (take(file, folder)) {
      return LibraryLock(std::move(file));
    }
  } catch (const PosixError&) {
    return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace tolvander::platform::linux_
