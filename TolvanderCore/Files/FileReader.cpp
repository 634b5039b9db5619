#include "TolvanderCore/Files/FileReader.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

FileReader::FileReader(const FileURL& url)
    : url_(url), descriptor_(open(url.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
  if (descriptor_ < 0) {
    throw PosixError(errno, "open", url_);
  }
  struct stat status {};
  // A folder is let through: reading it fails with the system's own error.
  if (fstat(descriptor_, &status) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))) {
    close(descriptor_);
    throw PosixError(EINVAL, "read", url_);
  }
}

FileReader::~FileReader() { close(descriptor_); }

std::size_t FileReader::size() const {
  struct stat status {};
  if (fstat(descriptor_, &status) != 0) {
    throw PosixError(errno, "look at", url_);
  }
  return static_cast<std::size_t>(status.st_size);
}

template <typename ReadSome>
std::size_t FileReader::fill(std::span<std::byte> buffer, const ReadSome& readSome) const {
  std::size_t total = 0;
  while (total < buffer.size()) {
    const ssize_t count = readSome(buffer.subspan(total), total);
    if (count == 0) {
      break;
    }
    if (count > 0) {
      total += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      throw PosixError(errno, "read", url_);
    }
  }
  return total;
}

std::size_t FileReader::read(std::span<std::byte> buffer) {
  return fill(buffer, [this](std::span<std::byte> rest, std::size_t /*total*/) {
    return ::read(descriptor_, rest.data(), rest.size());
  });
}

std::size_t FileReader::readAt(std::uint64_t offset, std::span<std::byte> buffer) const {
  return fill(buffer, [&](std::span<std::byte> rest, std::size_t total) {
    return pread(descriptor_, rest.data(), rest.size(), static_cast<off_t>(offset + total));
  });
}

std::vector<std::byte> FileReader::readToEnd() {
  // One byte more than the file has, so that its end is met without growing the buffer.
  std::vector<std::byte> bytes(size() + 1);
  std::size_t count = 0;
  while (const std::size_t more = read(std::span(bytes).subspan(count))) {
    count += more;
    if (count == bytes.size()) {
      bytes.resize(bytes.size() * 2);
    }
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace tolvander
