#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/FileReader.h"

namespace tolvander {

// Private to AVIReading: the bytes of an AVI and how its chunks follow each other.

// A chunk's header: a name of four characters and the size of the data that follow.
struct AVIChunkHead {
  static constexpr std::uint64_t size = 8;  // bytes of the header itself

  std::array<char, 4> characters{};
  std::uint32_t dataSize = 0;

  std::string_view name() const { return {characters.data(), characters.size()}; }
};

// The stream that two digits at the start of a name number. Absent without them.
std::optional<std::size_t> streamNumber(std::string_view name);

// The stream whose index a chunk is, by its name: `ix##` or `##ix`. Absent for other chunks.
std::optional<std::size_t> indexedStream(std::string_view name);

// Small pieces of a file, read through a window. Throws PosixError.
class AVIBytes {
 public:
  AVIBytes(const FileReader& file, CancellationToken token);

  // Of the file when this object was made.
  std::uint64_t fileSize() const { return fileSize_; }

  // `count` bytes, fewer where the file ends before. Valid until the next call. `count` is at most the
  // window's size.
  std::string_view at(std::uint64_t offset, std::size_t count);

  // The header at `offset`. Absent where the file ends before, and where the name isn't four printable ASCII
  // characters.
  std::optional<AVIChunkHead> chunkHead(std::uint64_t offset);

  // The first byte from `offset` on that isn't zero, or the file's end.
  std::uint64_t skipZeros(std::uint64_t offset);

  // Where to look for the next header behind the data of a chunk, with or without its pad byte. Zeros may be
  // there.
  std::uint64_t behind(std::uint64_t dataOffset, std::uint32_t dataSize);

  // Whether the data of a chunk whose header is at `offset` end within the file.
  bool holds(std::uint64_t offset, std::uint64_t dataSize) const;

  // Whether the bytes are a JPEG from its first to its last marker, with nothing but zeros and FF behind.
  bool isWholePicture(std::uint64_t offset, std::uint32_t size);

 private:
  const FileReader& file_;
  CancellationToken token_;
  std::uint64_t fileSize_;
  std::vector<char> window_;
  std::uint64_t windowOffset_ = 0;
  std::size_t windowCount_ = 0;
};

}  // namespace tolvander
