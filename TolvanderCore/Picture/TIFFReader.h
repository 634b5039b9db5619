#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tolvander {

// Reads the TIFF structure of an Exif block (TIFF 6.0, section 2; Exif 2.32, section 4.5). Private to
// TolvanderCore; used by ExifMetadata.
//
// Every read is checked against the block's bounds. A read that exceeds them throws MediaProcessingError
// malformedJPEG and is never shortened. A tag of an unexpected type is not an error; its value is absent.
struct TIFFReader {
  enum class ByteOrder { little, big };

  struct Entry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::size_t valueFieldOffset = 0;  // of the four-byte value field, from the start of `data`

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  // A reader of the block in `bytes` from `blockStart`, where its header is, to `blockEnd`. The bytes must
  // outlive the reader. It is a programming error if the block is not within the bytes.
  TIFFReader(std::span<const std::byte> bytes, std::size_t blockStart, std::size_t blockEnd);

  // Whether the block begins with a TIFF header: "II" or "MM", 42, and the first directory's offset.
  bool magicIsValid() const;

  // The entries of the directory (IFD) at `offset` from the block's start. There may be at most 256 entries,
  // and they must be within the block, as must the pointer to the next directory.
  std::vector<Entry> entries(std::uint32_t offset) const;

  // The text of the first of `entries` that has `tag`, up to its first NUL byte. Absent without such an
  // entry, and if its type is not ASCII, its count is 0 or more than 128, or the text has other than ASCII
  // characters.
  std::optional<std::string> asciiValue(std::uint16_t tag, std::span<const Entry> entries) const;

  // The number at an offset from the start of `data`, in the block's byte order.
  std::uint16_t uint16Absolute(std::size_t offset) const;
  std::uint32_t uint32Absolute(std::size_t offset) const;

  std::span<const std::byte> data;
  std::size_t start;
  std::size_t end;
  ByteOrder byteOrder;  // little if the block begins with "II", otherwise big

 private:
  // `count` bytes at `offset` from the start of `data`.
  std::span<const std::byte> bytesAbsolute(std::size_t offset, std::size_t count) const;
};

// The first of `entries` that has `tag`, or nullptr.
const TIFFReader::Entry* firstEntry(std::uint16_t tag, std::span<const TIFFReader::Entry> entries);

}  // namespace tolvander
