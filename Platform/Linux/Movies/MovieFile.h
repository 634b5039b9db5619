#pragma once

#include <cstdint>
#include <utility>

#include "Platform/Linux/Movies/LibAV.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// An open file, closed with this object. libav gets at files only through these, so that it can't open
// another one.
class MovieFile {
 public:
  // Throws PosixError.
  static MovieFile openForReading(const FileURL& url);
  static MovieFile create(const FileURL& url);  // with EEXIST where there is anything, be it a broken link

  const FileURL& url() const { return url_; }
  int descriptor() const { return descriptor_.number(); }

  // Closes a written file. Throws PosixError, since a failure here may be a failed write.
  void close();

 private:
  MovieFile(FileURL url, OwnedDescriptor descriptor)
      : url_(std::move(url)), descriptor_(std::move(descriptor)) {}

  FileURL url_;
  OwnedDescriptor descriptor_;
};

// libav's view of a file, with a position of its own: several of them may read one file. Every read and write
// looks for cancellation first and then fails with AVERROR_EXIT. Must not outlive the file and must not be
// moved while libav uses it.
class MovieFileIO {
 public:
  // Reads.
  MovieFileIO(const MovieFile& file, CancellationToken token);

  // Writes. Going beyond `lengthLimit` bytes fails with AVERROR(EFBIG).
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
