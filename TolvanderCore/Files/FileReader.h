#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Reads one regular file from its start. Follows symbolic links. The descriptor is not inherited by child
// processes.
class FileReader {
 public:
  // Throws PosixError when the file can't be opened; EINVAL for a pipe, a socket or a device, on which
  // opening or reading could wait for ever.
  explicit FileReader(const FileURL& url);

  // How many bytes the file has at this moment. Throws PosixError.
  std::size_t size() const;

  const FileURL& url() const { return url_; }

  // Reads into `buffer` until it is full or the file ends, and returns the number of bytes read: 0 only at
  // the end of the file (or for an empty buffer). Throws PosixError. Never maps the file: a camera that is
  // pulled out has to end in an error and not in a signal.
  std::size_t read(std::span<std::byte> buffer);

  // The same from `offset` on, a place of its own that read() doesn't move. Safe on several threads at once.
  std::size_t readAt(std::uint64_t offset, std::span<std::byte> buffer) const;

  // Everything from here to the end, in memory. Throws PosixError.
  std::vector<std::byte> readToEnd();

 private:
  FileURL url_;
  OwnedDescriptor file_;
};

}  // namespace tolvander
