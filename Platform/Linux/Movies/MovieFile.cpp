#include "Platform/Linux/Movies/MovieFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <new>
#include <utility>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

// Bytes, for small reads: headers and indexes.
constexpr int readBufferSize = 16'384;
constexpr int writeBufferSize = 262'144;

}  // namespace

MovieFile MovieFile::openForReading(const FileURL& url) {
  // O_NONBLOCK: opening a pipe would block until it has a writer.
  OwnedDescriptor descriptor(open(url.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor) {
    throw PosixError(errno, "open", url);
  }
  return {url, std::move(descriptor)};
}

MovieFile MovieFile::create(const FileURL& url) {
  constexpr mode_t readableAndWritable = 0666;
  OwnedDescriptor descriptor(
      open(url.path().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, readableAndWritable));
  if (!descriptor) {
    throw PosixError(errno, "create", url);
  }
  return {url, std::move(descriptor)};
}

void MovieFile::close() {
  if (const int failure = descriptor_.close(); failure != 0) {
    throw PosixError(failure, "close", url_);
  }
}

MovieFileIO::MovieFileIO(const MovieFile& file, CancellationToken token)
    : MovieFileIO(file, std::move(token), 0, false) {}

MovieFileIO::MovieFileIO(const MovieFile& file, CancellationToken token, std::int64_t lengthLimit)
    : MovieFileIO(file, std::move(token), lengthLimit, true) {}

MovieFileIO::MovieFileIO(const MovieFile& file, CancellationToken token, std::int64_t lengthLimit,
                         bool writes)
    : descriptor_(file.descriptor()), token_(std::move(token)), lengthLimit_(lengthLimit) {
  const int bufferSize = writes ? writeBufferSize : readBufferSize;
  auto* buffer = static_cast<unsigned char*>(av_malloc(static_cast<std::size_t>(bufferSize)));
  if (buffer == nullptr) {
    throw std::bad_alloc();
  }
  context_.reset(avio_alloc_context(buffer, bufferSize, writes ? 1 : 0, this, writes ? nullptr : &read,
                                    writes ? &write : nullptr, &seek));
  if (!context_) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  // Reads samples directly into their packets, and doesn't read skipped ones.
  context_->direct = writes ? 0 : 1;
}

int MovieFileIO::read(void* self, std::uint8_t* buffer, int size) {
  auto& io = *static_cast<MovieFileIO*>(self);
  if (io.token_.isCancelled()) {
    return AVERROR_EXIT;
  }
  const ssize_t count = retryOnEINTR(
      [&] { return pread(io.descriptor_, buffer, static_cast<std::size_t>(size), io.position_); });
  if (count < 0) {
    return AVERROR(errno);
  }
  io.position_ += count;
  return count == 0 ? AVERROR_EOF : static_cast<int>(count);
}

int MovieFileIO::write(void* self, LibAVOutputByte* buffer, int size) {
  auto& io = *static_cast<MovieFileIO*>(self);
  if (size > io.lengthLimit_ - io.position_) {
    return AVERROR(EFBIG);
  }
  int written = 0;
  while (written < size) {
    if (io.token_.isCancelled()) {
      return AVERROR_EXIT;
    }
    const ssize_t count = retryOnEINTR([&] {
      return pwrite(io.descriptor_, buffer + written, static_cast<std::size_t>(size - written), io.position_);
    });
    if (count < 0) {
      return AVERROR(errno);
    }
    written += static_cast<int>(count);
    io.position_ += count;
  }
  return written;
}

std::int64_t MovieFileIO::seek(void* self, std::int64_t offset, int whence) {
  auto& io = *static_cast<MovieFileIO*>(self);
  struct stat status {};
  if (whence != SEEK_SET && whence != SEEK_CUR && fstat(io.descriptor_, &status) != 0) {
    return AVERROR(errno);
  }
  std::int64_t target = offset;
  switch (whence) {
    case AVSEEK_SIZE:
      return status.st_size;
    case SEEK_SET:
      break;
    case SEEK_CUR:
      target = av_sat_add64(io.position_, offset);
      break;
    case SEEK_END:
      target = av_sat_add64(status.st_size, offset);
      break;
    default:
      return AVERROR(EINVAL);
  }
  if (target < 0) {
    return AVERROR(EINVAL);
  }
  io.position_ = target;
  return target;
}

}  // namespace tolvander::platform::linux_
