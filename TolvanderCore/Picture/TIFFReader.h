#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tolvander {

// Reads the TIFF structure inside an Exif block (TIFF 6.0, section 2; Exif 2.32, section 4.5). Private to
// TolvanderCore: JPEGLayout is its one user.
//
// Every read is checked against the block's bounds. One that leaves them throws MediaProcessingError
// malformedJPEG and is never shortened: a range that leaves the block is corruption, whereas a tag of an
// unexpected type is a fact about the file and gives an absent value.
struct TIFFReader {
  enum class ByteOrder { little, big };

  struct Entry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::size_t valueFieldOffset = 0;  // of the four-byte value field, absolute in data

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  // A reader of the block that lies in `bytes` from the offset `blockStart`, where its header stands, to
  // `blockEnd`. The bytes must outlive the reader. A block that doesn't lie in the bytes is a programming
  // error.
  TIFFReader(std::span<const std::byte> bytes, std::size_t blockStart, std::size_t blockEnd);

  // Whether a TIFF header stands at the start: "II" or "MM", 42, and room for the first directory's offset.
  bool magicIsValid() const;

  // The entries of the directory (IFD) at `offset`, counted from the block's start. At most 256 are accepted,
  // and they must lie in the block together with the pointer to a next directory.
  std::vector<Entry> entries(std::uint32_t offset) const;

  // The text of the first of `entries` that has `tag`, up to its first NUL byte. Absent without such an
  // entry, where its type is not text, where it counts no bytes or more than 128, and where the text is not
  // ASCII.
  std::optional<std::string> asciiValue(std::uint16_t tag, std::span<const Entry> entries) const;

  // Values at an offset that is absolute in data, in the block's byte order.
  std::uint16_t uint16Absolute(std::size_t offset) const;
  std::uint32_t uint32Absolute(std::size_t offset) const;

  std::span<const std::byte> data;
  std::size_t start;
  std::size_t end;
  ByteOrder byteOrder;  // big wherever "II" doesn't stand at the start, whatever stands there

 private:
  // `count` bytes at `offset`, absolute in data.
  std::span<const std::byte> bytesAbsolute(std::size_t offset, std::size_t count) const;
};

// The first of `entries` that has `tag`; nullptr without one.
const TIFFReader::Entry* firstEntry(std::uint16_t tag, std::span<const TIFFReader::Entry> entries);

}  // namespace tolvander
