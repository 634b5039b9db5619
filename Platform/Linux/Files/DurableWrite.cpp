#include "TolvanderCore/Platform/DurableWrite.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/Files/Durable.h"
#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

using platform::linux_::makeDurable;
using platform::linux_::makeFolderDurable;

namespace {

OwnedDescriptor openForWriting(const FileURL& url) {
  constexpr int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  constexpr mode_t permissions = 0600;
  OwnedDescriptor descriptor(retryOnEINTR([&] { return open(url.path().c_str(), flags, permissions); }));
  if (!descriptor) {
    throw PosixError(errno, "open", url);
  }
  return descriptor;
}

}  // namespace

void writeDurably(const FileURL& url, std::uint64_t offset, std::span<const std::byte> bytes) {
  const OwnedDescriptor file = openForWriting(url);
  writeAllAt(file, offset, bytes, url);
  const auto end = static_cast<off_t>(offset + bytes.size());
  if (retryOnEINTR([&] { return ftruncate(file.number(), end); }) != 0) {
    throw PosixError(errno, "set the size of", url);
  }
  makeDurable(file, url);
  // The process that created the file may have ended before the name was durable. When more is appended, it
  // is durable.
  if (offset == 0) {
    makeFolderDurable(url.deletingLastPathComponent());
  }
}

}  // namespace tolvander
