#include "Platform/Linux/System/HomeLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <string>
#include <string_view>

#include "Platform/Linux/Files/LockedFile.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::platform::linux_ {

namespace {

struct flock wholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

std::string nameOfThisProcess() {
  std::ifstream file("/proc/self/comm");
  std::string name;
  std::getline(file, name);
  return name.empty() ? "tolvander" : name;
}

OwnedDescriptor openOrMake(const FileURL& file) {
  // The history is in the same folder, and assumes that an existing folder is durable.
  createDirectories(file.deletingLastPathComponent(), Durability::survivesPowerLoss);
  OwnedDescriptor descriptor(retryOnEINTR(
      [&] { return open(file.path().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644); }));
  if (!descriptor) {
    throw PosixError(errno, "open", file);
  }
  return descriptor;
}

// Absent if the owner hasn't written its name yet.
std::optional<app::HomeHolder> writtenHolder(const OwnedDescriptor& file) {
  std::array<char, 256> buffer{};
  const ssize_t size = retryOnEINTR([&] { return pread(file.number(), buffer.data(), buffer.size(), 0); });
  std::string_view text(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  text = text.substr(0, end);
  app::HomeHolder holder;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), holder.process);
  if (error != std::errc() || rest == text.data() + text.size() || *rest != ' ') {
    return std::nullopt;
  }
  holder.command.assign(rest + 1, text.data() + text.size());
  return holder;
}

void writeHolder(const OwnedDescriptor& descriptor, const FileURL& file) {
  const std::string text = std::to_string(getpid()) + " " + nameOfThisProcess() + "\n";
  if (ftruncate(descriptor.number(), 0) != 0 ||
      retryOnEINTR([&] { return pwrite(descriptor.number(), text.data(), text.size(), 0); }) !=
          static_cast<ssize_t>(text.size())) {
    throw PosixError(errno, "write", file);
  }
}

// Throws HomeInUseError and PosixError.
OwnedDescriptor lockedFile(const FileURL& url) {
  const auto lock = [&](const OwnedDescriptor& file) {
    struct flock whole = wholeFile();
    if (retryOnEINTR([&] { return fcntl(file.number(), F_OFD_SETLK, &whole); }) == 0) {
      return true;
    }
    if (errno == EAGAIN || errno == EACCES) {
      throw app::HomeInUseError(writtenHolder(file));
    }
    throw PosixError(errno, "lock", url);
  };
  OwnedDescriptor file = openAndLock(
      url, [&] { return openOrMake(url); }, lock);
  writeHolder(file, url);
  return file;
}

}  // namespace

std::optional<FileURL> HomeLock::standardFile(const StandardDirectories& directories) {
  return directories.applicationSupport
             ? std::optional(directories.applicationSupport->appending("Tolvander").appending("lock"))
             : std::nullopt;
}

HomeLock::HomeLock(const FileURL& file) : url_(file), file_(lockedFile(file)) {}

void HomeLock::require() {
  if (!isStillNamed(file_, url_)) {
    file_ = lockedFile(url_);
  }
}

std::optional<app::HomeHolder> HomeLock::holder(const FileURL& file) {
  const OwnedDescriptor descriptor(
      retryOnEINTR([&] { return open(file.path().c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC); }));
  struct flock lock = wholeFile();
  if (!descriptor || fcntl(descriptor.number(), F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) {
    return std::nullopt;
  }
  return writtenHolder(descriptor);
}

}  // namespace tolvander::platform::linux_
