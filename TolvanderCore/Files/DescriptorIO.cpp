#include "TolvanderCore/Files/DescriptorIO.h"

#include <errno.h>
#include <unistd.h>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

namespace {

// `readSome` gets the rest of the buffer and the number of bytes that were read before.
template <typename ReadSome>
std::size_t fill(std::span<std::byte> buffer, const FileURL& url, const ReadSome& readSome) {
  std::size_t total = 0;
  while (total < buffer.size()) {
    const ssize_t count = retryOnEINTR([&] { return readSome(buffer.subspan(total), total); });
    if (count < 0) {
      throw PosixError(errno, "read", url);
    }
    if (count == 0) {
      break;
    }
    total += static_cast<std::size_t>(count);
  }
  return total;
}

// `writeSome` gets the rest of the bytes and the number of those that were written before.
template <typename WriteSome>
void drain(std::span<const std::byte> bytes, const FileURL& url, const WriteSome& writeSome) {
  std::size_t total = 0;
  while (total < bytes.size()) {
    const ssize_t count = retryOnEINTR([&] { return writeSome(bytes.subspan(total), total); });
    if (count < 0) {
      throw PosixError(errno, "write", url);
    }
    total += static_cast<std::size_t>(count);
  }
}

}  // namespace

std::size_t readFully(const OwnedDescriptor& file, std::span<std::byte> buffer, const FileURL& url) {
  return fill(buffer, url, [&](std::span<std::byte> rest, std::size_t /*total*/) {
    return read(file.number(), rest.data(), rest.size());
  });
}

std::size_t readFullyAt(const OwnedDescriptor& file, std::uint64_t offset, std::span<std::byte> buffer,
                        const FileURL& url) {
  return fill(buffer, url, [&](std::span<std::byte> rest, std::size_t total) {
    return pread(file.number(), rest.data(), rest.size(), static_cast<off_t>(offset + total));
  });
}

void writeAll(const OwnedDescriptor& file, std::span<const std::byte> bytes, const FileURL& url) {
  drain(bytes, url, [&](std::span<const std::byte> rest, std::size_t /*total*/) {
    return write(file.number(), rest.data(), rest.size());
  });
}

void writeAllAt(const OwnedDescriptor& file, std::uint64_t offset, std::span<const std::byte> bytes,
                const FileURL& url) {
  drain(bytes, url, [&](std::span<const std::byte> rest, std::size_t total) {
    return pwrite(file.number(), rest.data(), rest.size(), static_cast<off_t>(offset + total));
  });
}

}  // namespace tolvander
