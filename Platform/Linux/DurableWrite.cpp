#include "TolvanderCore/Platform/DurableWrite.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/Descriptor.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander {

using platform::linux_::Descriptor;
using platform::linux_::uninterrupted;

namespace {

Descriptor opened(const FileURL& url, int flags) {
  constexpr mode_t permissions = 0600;
  Descriptor descriptor(
      uninterrupted([&] { return open(url.path().c_str(), flags | O_CLOEXEC, permissions); }));
  if (!descriptor) {
    throw PosixError(errno, "open", url);
  }
  return descriptor;
}

void synchronize(const Descriptor& descriptor, const FileURL& url) {
  if (uninterrupted([&] { return fsync(descriptor.number()); }) != 0) {
    throw PosixError(errno, "make durable", url);
  }
}

}  // namespace

void writeDurably(const FileURL& url, std::uint64_t offset, std::span<const std::byte> bytes) {
  const Descriptor file = opened(url, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
  auto position = static_cast<off_t>(offset);
  while (!bytes.empty()) {
    const ssize_t count =
        uninterrupted([&] { return pwrite(file.number(), bytes.data(), bytes.size(), position); });
    if (count < 0) {
      throw PosixError(errno, "write", url);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    position += count;
  }
  if (uninterrupted([&] { return ftruncate(file.number(), position); }) != 0) {
    throw PosixError(errno, "set the size of", url);
  }
  synchronize(file, url);
  // Whoever made the file may have died before its name was durable. Once something was written, it is.
  if (offset == 0) {
    const FileURL folder = url.deletingLastPathComponent();
    synchronize(opened(folder, O_RDONLY | O_DIRECTORY), folder);
  }
}

}  // namespace tolvander
