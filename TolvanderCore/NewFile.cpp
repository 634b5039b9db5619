#include "TolvanderCore/NewFile.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "TolvanderCore/SystemErrors.h"

namespace tolvander {

namespace {

constexpr std::size_t chunkSize = 1'048'576;

// A file that this object has made, and that is gone with it unless it is kept.
class NewFile {
 public:
  explicit NewFile(const FileURL& url)
      : url_(url), descriptor_(open(url.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0) {
      throw PosixError(errno, "create", url_);
    }
  }

  ~NewFile() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
    if (!isKept_) {
      unlink(url_.path().c_str());
    }
  }

  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
      if (count >= 0) {
        bytes = bytes.subspan(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        throw PosixError(errno, "write", url_);
      }
    }
  }

  // Closes it first, because network file systems report some failures of writing only then.
  void keep() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0 && errno != EINTR) {
      throw PosixError(errno, "finish writing", url_);
    }
    isKept_ = true;
  }

 private:
  FileURL url_;
  int descriptor_;
  bool isKept_ = false;
};

}  // namespace

void writeNewFile(const FileURL& url, std::span<const std::byte> bytes, const CancellationToken& token) {
  NewFile file(url);
  while (!bytes.empty()) {
    token.throwIfCancelled();
    const auto chunk = bytes.first(std::min(bytes.size(), chunkSize));
    file.write(chunk);
    bytes = bytes.subspan(chunk.size());
  }
  file.keep();
}

}  // namespace tolvander
