#include "TolvanderCore/Files/FileReader.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

FileReader::FileReader(const FileURL& url)
    : url_(url), file_(retryOnEINTR([&] {
        return open(url.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
      })) {
  if (!file_) {
    throw PosixError(errno, "open", url_);
  }
  struct stat status {};
  // A folder is let through: reading it fails with the system's own error.
  if (fstat(file_.number(), &status) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))) {
    throw PosixError(EINVAL, "read", url_);
  }
}

std::size_t FileReader::size() const {
  struct stat status {};
  if (fstat(file_.number(), &status) != 0) {
    throw PosixError(errno, "look at", url_);
  }
  return static_cast<std::size_t>(status.st_size);
}

std::size_t FileReader::read(std::span<std::byte> buffer) { return readFully(file_, buffer, url_); }

std::size_t FileReader::readAt(std::uint64_t offset, std::span<std::byte> buffer) const {
  return readFullyAt(file_, offset, buffer, url_);
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
