#include "TolvanderCore/Platform/DurableWrite.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/Files/FileWriting.h"
#include "Platform/Linux/Foundation/Descriptor.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

using platform::linux_::Descriptor;
using platform::linux_::makeDurable;
using platform::linux_::makeFolderDurable;
using platform::linux_::uninterrupted;

namespace {

Descriptor openForWriting(const FileURL& url) {
  constexpr int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  constexpr mode_t permissions = 0600;
  Descriptor descriptor(uninterrupted([&] { return open(url.path().c_str(), flags, permissions); }));
  if (!descriptor) {
    throw PosixError(errno, "open", url);
  }
  return descriptor;
}

}  // namespace

void writeDurably(const FileURL& url, std::uint64_t offset, std::span<const std::byte> bytes) {
  const Descriptor file = openForWriting(url);
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
  makeDurable(file, url);
  // A process that made the file may have ended before the name was durable. Behind offset 0 it is durable.
  if (offset == 0) {
    makeFolderDurable(url.deletingLastPathComponent());
  }
}

}  // namespace tolvander
