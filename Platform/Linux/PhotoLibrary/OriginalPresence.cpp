#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

// For a path that isOriginalPath accepts.
const char* belowOriginals(const std::string& path) {
  return path.c_str() + LibraryFolder::originals.size() + 1;
}

bool saysThatNothingIsThere(int error) { return error == ENOENT || error == ENOTDIR || error == ELOOP; }

}  // namespace

void OriginalPresence::requireOriginals() {
  if (originals_) {
    return;
  }
  try {
    originals_ = folder_->openFolder(LibraryFolder::originals);
  } catch (const PosixError& error) {
    throw PhotosPlatformError(PhotosPlatformError::Case::networkAccessRequired,
                              std::string("the pictures of the photo library are not here: ") + error.what());
  }
}

OriginalPresence::State OriginalPresence::stateOf(const std::string& path, std::int64_t byteCount) {
  requireOriginals();
  if (!isOriginalPath(path)) {
    return State::gone;
  }
  struct stat status {};
  const char* below = belowOriginals(path);
  if (fstatat(originals_.number(), below, &status, 0) == 0) {
    return S_ISREG(status.st_mode) && status.st_size == byteCount ? State::present : State::gone;
  }
  if (errno == ENAMETOOLONG) {
    return State::gone;
  }
  return saysThatNothingIsThere(errno) ? stateOfUnreachable(below) : State::notLocal;
}

bool OriginalPresence::isUnchanged(const std::string& path, std::int64_t byteCount, Date modified) {
  requireOriginals();
  struct stat status {};
  return isOriginalPath(path) && fstatat(originals_.number(), belowOriginals(path), &status, 0) == 0 &&
         S_ISREG(status.st_mode) && status.st_size == byteCount &&
         dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec) == modified;
}

// Checks one component of the path after the other to find the one that is missing or can't be read.
OriginalPresence::State OriginalPresence::stateOfUnreachable(const std::string& below) const {
  for (std::size_t end = below.find('/');; end = below.find('/', end + 1)) {
    const bool isLast = end == std::string::npos;
    const std::string part = below.substr(0, end);
    struct stat status {};
    if (fstatat(originals_.number(), part.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return saysThatNothingIsThere(errno) ? State::gone : State::notLocal;
    }
    if (S_ISLNK(status.st_mode) && fstatat(originals_.number(), part.c_str(), &status, 0) != 0) {
      return State::notLocal;
    }
    if (isLast) {
      return State::notLocal;  // it reappeared in the meantime; the next check will see it
    }
    if (!S_ISDIR(status.st_mode)) {
      return State::gone;
    }
  }
}

}  // namespace tolvander::platform::linux_
