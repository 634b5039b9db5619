#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// Reads small pieces at any place of an AVI through one buffer. All operations throw CancellationError,
// looked for at each piece, and MovieError::unreadable where the file can't be read.
class AVIBytes {
 public:
  // Bytes that are read from the file at once. Small where most pieces are far apart.
  static constexpr std::size_t smallBuffer = 4096;
  static constexpr std::size_t largeBuffer = 65'536;

  AVIBytes(const MovieFile& file, const CancellationToken& token, std::size_t bufferSize = smallBuffer);

  std::int64_t fileSize() const { return fileSize_; }

  // The bytes from `offset` on: `count` of them, fewer at the end of the file, none beyond it or at a
  // negative offset. `count` is at most the buffer's size. Valid until the next call.
  std::string_view at(std::int64_t offset, std::size_t count);

  // The first place from `offset` on that holds another byte than 0; the file's size without one.
  std::int64_t skipZeros(std::int64_t offset);

  [[noreturn]] void fail(std::string_view reason) const;

 private:
  const MovieFile& file_;
  const CancellationToken& token_;
  std::int64_t fileSize_;
  std::vector<char> buffer_;
  std::int64_t bufferOffset_ = 0;
  std::size_t bufferedCount_ = 0;
};

// Little-endian numbers. A field that the bytes are too short for is 0.
std::uint16_t littleEndian16(std::string_view bytes, std::size_t offset);
std::uint32_t littleEndian32(std::string_view bytes, std::size_t offset);
std::uint64_t littleEndian64(std::string_view bytes, std::size_t offset);

// Every chunk begins with its name and the size of its content (4 bytes each), and a list has its type behind
// these.
struct AVIChunkHeader {
  static constexpr std::int64_t bytes = 8;
  static constexpr std::int64_t listBytes = 12;

  std::string name;  // 4 characters
  std::string type;  // of a list or a RIFF; empty for another chunk
  std::int64_t offset = 0;
  std::int64_t size = 0;

  std::int64_t content() const { return offset + bytes; }
  std::int64_t end() const { return content() + size; }
  std::int64_t paddedEnd() const { return end() + size % 2; }
};

// What lies at `offset`, whatever it is; an empty name where fewer than 8 bytes are left.
AVIChunkHeader chunkHeaderAt(AVIBytes& bytes, std::int64_t offset);

// The number in two decimal digits at `offset` of a name; -1 where there are no digits.
int streamNumber(std::string_view name, std::size_t offset = 0);

}  // namespace tolvander::platform::linux_
