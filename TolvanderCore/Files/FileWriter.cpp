#include "TolvanderCore/Files/FileWriter.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

namespace {

constexpr int closed = -1;

}  // namespace

FileWriter::FileWriter(const FileURL& url)
    : url_(url), descriptor_(open(url.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
  if (descriptor_ < 0) {
    throw PosixError(errno, "create", url_);
  }
}

FileWriter::~FileWriter() {
  if (descriptor_ != closed) {
    ::close(descriptor_);
  }
}

void FileWriter::write(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      throw PosixError(errno, "write", url_);
    }
  }
}

void FileWriter::close() {
  // Whatever close answers, the descriptor is gone.
  const int failure = ::close(descriptor_) == 0 || errno == EINTR ? 0 : errno;
  descriptor_ = closed;
  if (failure != 0) {
    throw PosixError(failure, "finish writing", url_);
  }
}

}  // namespace tolvander
