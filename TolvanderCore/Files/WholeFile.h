#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// A file that is read once, from its start to its end, and must have exactly the size that it had when it was
// opened. If it grows or shrinks while it is read, or reports a wrong size, that is an error; so a file that
// grows without end is not read without end. For one thread at a time.
class WholeFile {
 public:
  // Follows symbolic links. Throws PosixError: that of open(2), or EINVAL for a pipe, a socket or a device.
  explicit WholeFile(const FileURL& url);

  // The size in bytes when the file was opened.
  std::uint64_t byteCount() const { return byteCount_; }

  using PartHandler = std::function<void(std::span<const std::byte> part)>;

  // Calls `handle` with the bytes in their order, in parts of at most 256 KiB that are valid during the call,
  // so that a file of any size needs the memory of one part. To be called once. Throws
  // MediaStagingError::sourceChanged if the size changed, PosixError if the file can't be read (EISDIR for a
  // folder), CancellationError, checked before each part, and what the handler throws.
  void forEachPart(const PartHandler& handle, const CancellationToken& token);

  // Reads all of the bytes into memory; the caller makes sure that they fit. To be called once, instead of
  // forEachPart. Throws what forEachPart throws.
  std::vector<std::byte> contents(const CancellationToken& token);

 private:
  FileReader reader_;
  std::uint64_t byteCount_;
};

}  // namespace tolvander
