#include "Platform/Linux/Files/FileWriting.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

void writeAll(const Descriptor& file, std::span<const std::byte> bytes, const FileURL& url) {
  while (!bytes.empty()) {
    const ssize_t count = uninterrupted([&] { return write(file.number(), bytes.data(), bytes.size()); });
    if (count < 0) {
      throw PosixError(errno, "write", url);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

void makeDurable(const Descriptor& descriptor, const FileURL& url) {
  if (uninterrupted([&] { return fsync(descriptor.number()); }) != 0) {
    throw PosixError(errno, "make durable", url);
  }
}

void makeFolderDurable(const FileURL& folder) {
  const Descriptor descriptor(
      uninterrupted([&] { return open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!descriptor) {
    throw PosixError(errno, "open the folder", folder);
  }
  makeDurable(descriptor, folder);
}

}  // namespace tolvander::platform::linux_
