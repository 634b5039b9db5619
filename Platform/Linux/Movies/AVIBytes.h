#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// Reads small pieces of an AVI at arbitrary offsets through one buffer. All operations throw
// CancellationError, checked at each piece, and MovieError::unreadable if the file can't be read. For one
// thread at a time.
class AVIBytes {
 public:
  // Bytes per read. The small size is for pieces that are far apart.
  static constexpr std::size_t smallBuffer = 4096;
  static constexpr std::size_t largeBuffer = 65'536;

  AVIBytes(const MovieFile& file, const CancellationToken& token, std::size_t bufferSize = smallBuffer);

  std::int64_t fileSize() const { return fileSize_; }

  // The bytes at `offset`: `count` of them, fewer at the end of the file, none beyond it or at a negative
  // offset. `count` is at most the buffer's size. Valid until the next call.
  std::string_view at(std::int64_t offset, std::size_t count);

  // The offset of the first byte other than 0 from `offset` on; the file's size if there is none.
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

// Little-endian numbers, as everywhere in a RIFF file. 0 if the bytes end before or within the field.
std::uint16_t littleEndian16(std::string_view bytes, std::size_t offset);
std::uint32_t littleEndian32(std::string_view bytes, std::size_t offset);
std::uint64_t littleEndian64(std::string_view bytes, std::size_t offset);

// The header of a RIFF chunk: its name and the size of its content (4 bytes each), and for a list its type.
struct AVIChunkHeader {
  static constexpr std::int64_t bytes = 8;
  static constexpr std::int64_t listBytes = 12;

  std::string name;  // 4 characters
  std::string type;  // of a list or RIFF; otherwise empty
  std::int64_t offset = 0;
  std::int64_t size = 0;

  std::int64_t content() const { return offset + bytes; }
  std::int64_t end() const { return content() + size; }
  std::int64_t paddedEnd() const { return end() + size % 2; }
};

// The header at `offset`, valid or not. Empty name if fewer than 8 bytes are left.
AVIChunkHeader chunkHeaderAt(AVIBytes& bytes, std::int64_t offset);

// The stream number in two decimal digits at `offset` of a chunk's name ("01wb"); -1 if there are no digits.
int streamNumber(std::string_view name, std::size_t offset = 0);

}  // namespace tolvander::platform::linux_
