#include "TolvanderCore/JPEGLayout.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "TolvanderCore/FileFingerprinter.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Platform/SHA256.h"
#include "TolvanderCore/Precondition.h"
#include "TolvanderCore/TIFFReader.h"

namespace tolvander {

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::byte markerPrefix{0xFF};
constexpr std::array startOfImage{std::byte{0xFF}, std::byte{0xD8}};
constexpr std::array exifPrefix{std::byte{'E'}, std::byte{'x'}, std::byte{'i'},
                                std::byte{'f'}, std::byte{0},   std::byte{0}};
constexpr std::size_t tiffHeaderSize = 8;

namespace marker {
constexpr std::uint8_t stuffedZero = 0x00;
constexpr std::uint8_t temporary = 0x01;
constexpr std::uint8_t huffmanTables = 0xC4;
constexpr std::uint8_t extension = 0xC8;
constexpr std::uint8_t arithmeticConditioning = 0xCC;
constexpr std::uint8_t endOfImage = 0xD9;
constexpr std::uint8_t startOfScan = 0xDA;
constexpr std::uint8_t application0 = 0xE0;
constexpr std::uint8_t application1 = 0xE1;
constexpr std::uint8_t application15 = 0xEF;
constexpr std::uint8_t comment = 0xFE;
}  // namespace marker

namespace tag {
constexpr std::uint16_t orientation = 274;
constexpr std::uint16_t dateTime = 306;
constexpr std::uint16_t exifDirectory = 34665;
constexpr std::uint16_t dateTimeOriginal = 36867;
constexpr std::uint16_t dateTimeDigitized = 36868;
}  // namespace tag

[[noreturn]] void malformed() { throw MediaProcessingError(MediaProcessingError::Case::malformedJPEG); }

// The markers without a length.
bool standsAlone(std::uint8_t marker) {
  return marker == marker::temporary || (marker >= 0xD0 && marker <= 0xD7);
}

bool isFrameHeader(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != marker::huffmanTables && marker != marker::extension &&
         marker != marker::arithmeticConditioning;
}

bool isMetadata(std::uint8_t marker) {
  return marker == marker::comment || (marker >= marker::application0 && marker <= marker::application15);
}

std::uint16_t bigEndian16(Bytes data, std::size_t offset) {
  return static_cast<std::uint16_t>(std::to_integer<unsigned>(data[offset]) << 8U |
                                    std::to_integer<unsigned>(data[offset + 1]));
}

std::size_t firstMarkerPrefix(Bytes data, std::size_t offset) {
  if (offset >= data.size()) {
    malformed();
  }
  const void* const found =
      std::memchr(&data[offset], std::to_integer<int>(markerPrefix), data.size() - offset);
  if (found == nullptr) {
    malformed();
  }
  return static_cast<std::size_t>(static_cast<const std::byte*>(found) - data.data());
}

// The offset of the marker byte behind the run of 0xFF that begins at `offset`.
std::size_t behindMarkerPrefixes(Bytes data, std::size_t offset) {
  while (offset < data.size() && data[offset] == markerPrefix) {
    ++offset;
  }
  if (offset == data.size()) {
    malformed();
  }
  return offset;
}

// The end of the segment whose marker byte stands at `markerOffset` and has a length behind it.
std::size_t segmentEnd(Bytes data, std::size_t markerOffset) {
  const std::size_t lengthOffset = markerOffset + 1;
  if (data.size() - lengthOffset < 2) {
    malformed();
  }
  const std::size_t length = bigEndian16(data, lengthOffset);
  if (length < 2 || length > data.size() - lengthOffset) {
    malformed();
  }
  return lengthOffset + length;
}

bool beginsWith(Bytes bytes, Bytes prefix) {
  return bytes.size() >= prefix.size() && std::ranges::equal(bytes.first(prefix.size()), prefix);
}

Bytes slice(Bytes data, JPEGLayout::Range range) {
  precondition(range.begin <= range.end && range.end <= data.size(), "the bytes are those that were parsed");
  return data.subspan(range.begin, range.end - range.begin);
}

void append(std::vector<std::byte>& output, Bytes bytes) {
  output.insert(output.end(), bytes.begin(), bytes.end());
}

// What `read` returns, and nothing when it finds the block malformed.
template <typename Read>
auto unlessMalformed(Read read) -> decltype(read()) {
  try {
    return read();
  } catch (const MediaProcessingError&) {
    return {};
  }
}

template <typename Value>
void fillIn(std::optional<Value>& field, const std::optional<Value>& value) {
  if (!field) {
    field = value;
  }
}

void fillIn(JPEGLayout::ExifMetadata& metadata, const JPEGLayout::ExifMetadata& block) {
  fillIn(metadata.orientation, block.orientation);
  fillIn(metadata.modifiedDate, block.modifiedDate);
  fillIn(metadata.originalDate, block.originalDate);
  fillIn(metadata.digitizedDate, block.digitizedDate);
}

std::optional<std::uint16_t> readOrientation(const TIFFReader& reader,
                                             std::span<const TIFFReader::Entry> entries) {
  const TIFFReader::Entry* const entry = firstEntry(tag::orientation, entries);
  if (entry == nullptr || entry->type != TIFFReader::shortType || entry->count != 1) {
    return std::nullopt;
  }
  return reader.uint16Absolute(entry->valueFieldOffset);
}

std::vector<TIFFReader::Entry> exifEntries(const TIFFReader& reader,
                                           std::span<const TIFFReader::Entry> entries) {
  const TIFFReader::Entry* const entry = firstEntry(tag::exifDirectory, entries);
  if (entry == nullptr || entry->type != TIFFReader::longType || entry->count != 1) {
    return {};
  }
  return reader.entries(reader.uint32Absolute(entry->valueFieldOffset));
}

}  // namespace

JPEGLayout JPEGLayout::parse(std::span<const std::byte> data) {
  if (data.size() < 4 || !beginsWith(data, startOfImage)) {
    malformed();
  }
  JPEGLayout layout;
  std::size_t start = startOfImage.size();
  while (true) {
    if (start == data.size() || data[start] != markerPrefix) {
      malformed();
    }
    const std::size_t markerOffset = behindMarkerPrefixes(data, start);
    const auto marker = std::to_integer<std::uint8_t>(data[markerOffset]);
    if (marker == marker::endOfImage) {
      malformed();
    }
    if (standsAlone(marker)) {
      layout.segments.push_back({.marker = marker, .range = {start, markerOffset + 1}});
      start = markerOffset + 1;
      continue;
    }
    const std::size_t end = segmentEnd(data, markerOffset);
    if (marker == marker::startOfScan) {
      layout.scanRange = {start, scanEOI(data, end)};
      return layout;
    }
    const Range payloadRange{markerOffset + 3, end};
    const Bytes payload = slice(data, payloadRange);
    const bool isExif = marker == marker::application1 && beginsWith(payload, exifPrefix);
    layout.segments.push_back({.marker = marker, .range = {start, end}, .isExif = isExif});
    if (isFrameHeader(marker) && payload.size() >= 5) {
      layout.height = bigEndian16(payload, 1);
      layout.width = bigEndian16(payload, 3);
    }
    if (isExif) {
      fillIn(layout.exifMetadata, unlessMalformed([&] { return parseExif(data, payloadRange); }));
    }
    start = end;
  }
}

std::string JPEGLayout::mediaFingerprint(std::span<const std::byte> data) const {
  SHA256 hash;
  for (const Segment& segment : segments) {
    if (!isMetadata(segment.marker)) {
      hash.update(slice(data, segment.range));
    }
  }
  hash.update(slice(data, scanRange));
  return "jpeg-v2:" + FileFingerprinter::text(hash.finish());
}

std::vector<std::byte> JPEGLayout::replacingExif(std::span<const std::byte> data,
                                                 std::span<const std::byte> segment) const {
  std::vector<std::byte> output(startOfImage.begin(), startOfImage.end());
  output.reserve(data.size() + segment.size());

  const auto isNotApplication0 = [](const Segment& other) { return other.marker != marker::application0; };
  const auto place = std::ranges::find_if(segments, isNotApplication0);
  for (auto kept = segments.begin(); kept != place; ++kept) {
    append(output, slice(data, kept->range));
  }
  append(output, segment);
  for (auto kept = place; kept != segments.end(); ++kept) {
    if (!kept->isExif) {
      append(output, slice(data, kept->range));
    }
  }
  append(output, slice(data, {scanRange.begin, data.size()}));
  return output;
}

std::size_t JPEGLayout::scanEOI(std::span<const std::byte> data, std::size_t entropyStart) {
  std::size_t offset = entropyStart;
  while (true) {
    const std::size_t markerOffset = behindMarkerPrefixes(data, firstMarkerPrefix(data, offset));
    const auto marker = std::to_integer<std::uint8_t>(data[markerOffset]);
    if (marker == marker::endOfImage) {
      return markerOffset + 1;
    }
    const bool isPartOfScan = marker == marker::stuffedZero || standsAlone(marker);
    offset = isPartOfScan ? markerOffset + 1 : segmentEnd(data, markerOffset);
  }
}

JPEGLayout::ExifMetadata JPEGLayout::parseExif(std::span<const std::byte> data, Range payloadRange) {
  if (slice(data, payloadRange).size() < exifPrefix.size() + tiffHeaderSize) {
    malformed();
  }
  const TIFFReader reader(data, payloadRange.begin + exifPrefix.size(), payloadRange.end);
  if (!reader.magicIsValid()) {
    malformed();
  }
  const auto entries = reader.entries(reader.uint32Absolute(reader.start + 4));
  const auto exif = unlessMalformed([&] { return exifEntries(reader, entries); });
  return {
      .orientation = unlessMalformed([&] { return readOrientation(reader, entries); }),
      .modifiedDate = unlessMalformed([&] { return reader.asciiValue(tag::dateTime, entries); }),
      .originalDate = unlessMalformed([&] { return reader.asciiValue(tag::dateTimeOriginal, exif); }),
      .digitizedDate = unlessMalformed([&] { return reader.asciiValue(tag::dateTimeDigitized, exif); }),
  };
}

}  // namespace tolvander
