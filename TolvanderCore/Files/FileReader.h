#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Reads one regular file from its start. Follows symbolic links. Child processes don't inherit the
// descriptor. For one thread at a time, except readAt.
class FileReader {
 public:
  // Throws PosixError: that of open(2), or EINVAL for a pipe, a socket or a device, because opening or
  // reading one could block forever.
  explicit FileReader(const FileURL& url);

  // The size of the file at this moment, in bytes. Throws PosixError.
  std::size_t size() const;

  const FileURL& url() const { return url_; }

  // Reads into `buffer` until it is full or the file ends, and returns the number of bytes read: 0 only at
  // the end of the file (or for an empty buffer). Throws PosixError. Doesn't map the file into memory: then
  // unplugging the camera would end the process with a signal instead of an error.
  std::size_t read(std::span<std::byte> buffer);

  // The same from `offset` on, in bytes from the start. Neither uses nor changes the position of read(). Safe
  // on several threads at once.
  std::size_t readAt(std::uint64_t offset, std::span<std::byte> buffer) const;

  // Reads everything from the current position to the end into memory. Throws PosixError.
  std::vector<std::byte> readToEnd();

 private:
  FileURL url_;
  OwnedDescriptor file_;
};

}  // namespace tolvander
