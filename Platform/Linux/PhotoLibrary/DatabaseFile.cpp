#include "Platform/Linux/PhotoLibrary/DatabaseFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "Platform/Linux/Files/Durable.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

// The database itself comes first.
constexpr std::array<const char*, 4> suffixes = {"", "-wal", "-shm", "-journal"};

}  // namespace

void DatabaseFile::remove() const noexcept {
  for (const char* const suffix : suffixes) {
    unlink((url_.path() + suffix).c_str());
  }
}

void DatabaseFile::finish() const {
  // If the checkpoint on closing failed, the log still has content of the database.
  struct stat log {};
  const std::string logPath = url_.path() + "-wal";
  if (stat(logPath.c_str(), &log) == 0 && log.st_size > 0) {
    throw PosixError(EBUSY, "rename", url_);
  }
  unlink(logPath.c_str());
  unlink((url_.path() + "-shm").c_str());
  const OwnedDescriptor database(
      retryOnEINTR([&] { return open(url_.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }));
  if (!database) {
    throw PosixError(errno, "open", url_);
  }
  makeDurable(database, url_);
}

void DatabaseFile::moveTo(const FileURL& url) const {
  finish();
  if (rename(url_.path().c_str(), url.path().c_str()) != 0) {
    throw PosixError(errno, "rename", url_);
  }
  makeFolderDurable(url.deletingLastPathComponent());
}

void DatabaseFile::setAside(const FileURL& url) const {
  for (const char* const suffix : suffixes) {
    if (rename((url_.path() + suffix).c_str(), (url.path() + suffix).c_str()) != 0 && errno != ENOENT) {
      throw PosixError(errno, "rename", url_);
    }
  }
  makeFolderDurable(url.deletingLastPathComponent());
}

}  // namespace tolvander::platform::linux_
