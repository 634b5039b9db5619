#pragma once

#include <cstdint>
#include <utility>

#include "Platform/Linux/Movies/LibAV.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// An open file. libav accesses files only through this class, so that it can't open others.
class MovieFile {
 public:
  // Throws PosixError.
  static MovieFile openForReading(const FileURL& url);
  // EEXIST if anything has this name, including a dangling symbolic link.
  static MovieFile create(const FileURL& url);

  const FileURL& url() const { return url_; }
  int descriptor() const { return descriptor_.number(); }

  // Closes a written file. Throws PosixError, because the system may report a failed write only here.
  void close();

 private:
  MovieFile(FileURL url, OwnedDescriptor descriptor)
      : url_(std::move(url)), descriptor_(std::move(descriptor)) {}

  FileURL url_;
  OwnedDescriptor descriptor_;
};

// Lets libav read or write a file, with its own position: several of them may read the same file. Every read
// and write checks for cancellation first, and then fails with AVERROR_EXIT. The file must outlive it, and
// must not be moved while libav uses it.
class MovieFileIO {
 public:
  // For reading.
  MovieFileIO(const MovieFile& file, CancellationToken token);

  // For writing. Exceeding `lengthLimit` bytes fails with AVERROR(EFBIG).
  MovieFileIO(const MovieFile& file, CancellationToken token, std::int64_t lengthLimit);

  MovieFileIO(const MovieFileIO&) = delete;
  MovieFileIO& operator=(const MovieFileIO&) = delete;

  AVIOContext* context() const { return context_.get(); }

 private:
  MovieFileIO(const MovieFile& file, CancellationToken token, std::int64_t lengthLimit, bool writes);

  static int read(void* self, std::uint8_t* buffer, int size);
  static int write(void* self, LibAVOutputByte* buffer, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  int descriptor_;
  CancellationToken token_;
  std::int64_t lengthLimit_;
  std::int64_t position_ = 0;
  IOContextPointer context_;
};

}  // namespace tolvander::platform::linux_
