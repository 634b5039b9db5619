#include "TolvanderCore/Picture/TIFFReader.h"

#include <algorithm>

#include "TolvanderCore/Foundation/Endian.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Picture/TIFF.h"

namespace tolvander {

namespace {

constexpr std::uint16_t maximumEntries = 256;   // of a directory
constexpr std::uint32_t maximumTextSize = 128;  // bytes

bool twoCharacters(std::span<const std::byte> bytes, char both) {
  return std::ranges::all_of(bytes.first(2), [both](std::byte byte) { return byte == std::byte(both); });
}

TIFFReader::ByteOrder byteOrderOf(std::span<const std::byte> block) {
  return block.size() >= 2 && twoCharacters(block, 'I') ? TIFFReader::ByteOrder::little
                                                        : TIFFReader::ByteOrder::big;
}

}  // namespace

TIFFReader::TIFFReader(std::span<const std::byte> bytes, std::size_t blockStart, std::size_t blockEnd)
    : data(bytes), start(blockStart), end(blockEnd) {
  precondition(start <= end && end <= data.size(), "a TIFF block lies in its bytes");
  byteOrder = byteOrderOf(data.subspan(start, end - start));
}

// TIFF 6.0, section 2, "Image File Header".
bool TIFFReader::magicIsValid() const {
  const auto block = data.subspan(start, end - start);
  return block.size() >= tiff::headerSize && (twoCharacters(block, 'I') || twoCharacters(block, 'M')) &&
         uint16Absolute(start + 2) == tiff::magicNumber;
}

// TIFF 6.0, section 2, "Image File Directory".
std::vector<TIFFReader::Entry> TIFFReader::entries(std::uint32_t offset) const {
  const std::size_t directory = start + offset;
  const std::uint16_t count = uint16Absolute(directory);
  if (count > maximumEntries) {
    throwMalformedJPEG();
  }
  const std::size_t firstOffset = directory + tiff::entryCountSize;
  bytesAbsolute(firstOffset, count * tiff::entrySize + tiff::nextDirectorySize);

  std::vector<Entry> entries;
  entries.reserve(count);
  for (std::size_t index = 0; index < count; ++index) {
    const std::size_t entry = firstOffset + index * tiff::entrySize;
    entries.push_back({.tag = uint16Absolute(entry),
                       .type = uint16Absolute(entry + 2),
                       .count = uint32Absolute(entry + 4),
                       .valueFieldOffset = entry + 8});
  }
  return entries;
}

std::optional<std::string> TIFFReader::asciiValue(std::uint16_t tag, std::span<const Entry> entries) const {
  const Entry* const entry = firstEntry(tag, entries);
  if (entry == nullptr || entry->type != tiff::type::ascii || entry->count == 0 ||
      entry->count > maximumTextSize) {
    return std::nullopt;
  }
  // A value of at most 4 bytes is in the entry itself, a longer one at the offset that the entry has
  // ("Value/Offset").
  const std::size_t offset = entry->count > tiff::valueFieldSize
                                 ? start + uint32Absolute(entry->valueFieldOffset)
                                 : entry->valueFieldOffset;
  std::string text;
  for (const std::byte byte : bytesAbsolute(offset, entry->count)) {
    if (byte == std::byte{0}) {
      break;
    }
    if (byte > std::byte{0x7F}) {
      return std::nullopt;
    }
    text += std::to_integer<char>(byte);
  }
  return text;
}

std::uint16_t TIFFReader::uint16Absolute(std::size_t offset) const {
  const auto bytes = bytesAbsolute(offset, 2);
  return byteOrder == ByteOrder::big ? bigEndian16(bytes, 0) : littleEndian16(bytes, 0);
}

std::uint32_t TIFFReader::uint32Absolute(std::size_t offset) const {
  const auto bytes = bytesAbsolute(offset, 4);
  return byteOrder == ByteOrder::big ? bigEndian32(bytes, 0) : littleEndian32(bytes, 0);
}

std::span<const std::byte> TIFFReader::bytesAbsolute(std::size_t offset, std::size_t count) const {
  if (offset < start || offset > end || count > end - offset) {
    throwMalformedJPEG();
  }
  return data.subspan(offset, count);
}

const TIFFReader::Entry* firstEntry(std::uint16_t tag, std::span<const TIFFReader::Entry> entries) {
  const auto found = std::ranges::find(entries, tag, &TIFFReader::Entry::tag);
  return found == entries.end() ? nullptr : &*found;
}

}  // namespace tolvander
