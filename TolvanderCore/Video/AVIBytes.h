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

// Private to AVIReading: access to the bytes of an AVI and to the sequence of its chunks.

// The header of a RIFF chunk: a name of four characters and the size of the data after it.
struct AVIChunkHead {
  static constexpr std::uint64_t size = 8;  // bytes of the header itself

  std::array<char, 4> characters{};
  std::uint32_t dataSize = 0;

  std::string_view name() const { return {characters.data(), characters.size()}; }
};

// The number of the stream in the two digits at the start of a chunk's name. Absent without two digits.
std::optional<std::size_t> streamNumber(std::string_view name);

// The number of the stream that an index chunk belongs to, by its name `ix##` or `##ix`. Absent for other
// chunks.
std::optional<std::size_t> indexedStream(std::string_view name);

// Reads small pieces of a file through a window that is kept in memory. Throws PosixError.
class AVIBytes {
 public:
  AVIBytes(const FileReader& file, CancellationToken token);

  // The size of the file when this object was made.
  std::uint64_t fileSize() const { return fileSize_; }

  // `count` bytes at `offset`, or fewer if the file ends before. Valid until the next call. `count` is at
  // most the size of the window.
  std::string_view at(std::uint64_t offset, std::size_t count);

  // The chunk header at `offset`. Absent if the file ends before, and if the name isn't four printable ASCII
  // characters.
  std::optional<AVIChunkHead> chunkHead(std::uint64_t offset);

  // The offset of the first byte at or after `offset` that isn't zero, or the end of the file.
  std::uint64_t skipZeros(std::uint64_t offset);

  // The offset at which to look for the next header after the data of a chunk: a chunk of odd size should
  // have a pad byte, but some writers omit it. There may be zeros at that offset.
  std::uint64_t behind(std::uint64_t dataOffset, std::uint32_t dataSize);

  // Whether the data of a chunk with its header at `offset` end within the file.
  bool holds(std::uint64_t offset, std::uint64_t dataSize) const;

  // Whether the bytes are a JPEG from its first to its last marker, followed by nothing but bytes 00 and FF.
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
