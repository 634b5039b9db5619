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

// A file that is read once, from its start to its end, and that has to have as many bytes as it said when it
// was opened. One that grows or shrinks meanwhile, or that doesn't tell its true size, is an error and no
// endless read. For one thread at a time.
class WholeFile {
 public:
  // Follows links. Throws PosixError where it can't be opened; EINVAL for a pipe, a socket or a device.
  explicit WholeFile(const FileURL& url);

  // The size in bytes when the file was opened.
  std::uint64_t byteCount() const { return byteCount_; }

  using PartHandler = std::function<void(std::span<const std::byte> part)>;

  // Gives the bytes in their order, in parts of at most 256 KiB that are valid during the call, so that a
  // file of any size takes the memory of one part. To be called once. Throws
  // MediaStagingError::sourceChanged, PosixError where the file can't be read (EISDIR for a folder),
  // CancellationError, looked for before each part is given, and what the handler throws.
  void forEachPart(const PartHandler& handle, const CancellationToken& token);

  // All of the bytes in memory. The caller makes sure that they fit there. Instead of forEachPart, which says
  // what is thrown.
  std::vector<std::byte> contents(const CancellationToken& token);

 private:
  FileReader reader_;
  std::uint64_t byteCount_;
};

}  // namespace tolvander
