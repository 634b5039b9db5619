#include "TolvanderCore/JPEGSegmentReader.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "TolvanderCore/Foundation/Endian.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander {

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::byte markerPrefix{0xFF};
constexpr std::array startOfImage{std::byte{0xFF}, std::byte{0xD8}};

// Clauses of ISO/IEC 10918-1 | ITU-T T.81. The markers are those of table B.1.
constexpr std::uint8_t stuffedZero = 0x00;
constexpr std::uint8_t temporary = 0x01;
constexpr std::uint8_t huffmanTables = 0xC4;
constexpr std::uint8_t extension = 0xC8;
constexpr std::uint8_t arithmeticConditioning = 0xCC;
constexpr std::uint8_t endOfImage = 0xD9;
constexpr std::uint8_t startOfScan = 0xDA;

// The markers TEM and RSTm, which have no length and no payload (B.1.1.3).
bool hasNoPayload(std::uint8_t marker) { return marker == temporary || (marker >= 0xD0 && marker <= 0xD7); }

// The markers SOFn (B.2.2).
bool isFrameHeader(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != huffmanTables && marker != extension &&
         marker != arithmeticConditioning;
}

bool beginsWith(Bytes bytes, Bytes prefix) {
  return bytes.size() >= prefix.size() && std::ranges::equal(bytes.first(prefix.size()), prefix);
}

// The offset of the first 0xFF at or after `offset`.
std::size_t firstMarkerPrefix(Bytes data, std::size_t offset, const CancellationToken& token) {
  constexpr std::size_t pieceSize = std::size_t{16} << 20U;  // a few milliseconds
  while (offset < data.size()) {
    token.throwIfCancelled();
    const Bytes piece = data.subspan(offset, std::min(pieceSize, data.size() - offset));
    const void* const found = std::memchr(piece.data(), std::to_integer<int>(markerPrefix), piece.size());
    if (found != nullptr) {
      return static_cast<std::size_t>(static_cast<const std::byte*>(found) - data.data());
    }
    offset += piece.size();
  }
  throwMalformedJPEG();
}

// The offset of the marker byte after the 0xFF bytes that begin at `offset`: a marker may be preceded by any
// number of fill bytes 0xFF (B.1.1.2).
std::size_t behindMarkerPrefixes(Bytes data, std::size_t offset, const CancellationToken& token) {
  constexpr std::size_t bytesBetweenChecks = std::size_t{1} << 20U;  // about a millisecond
  while (offset < data.size() && data[offset] == markerPrefix) {
    ++offset;
    if (offset % bytesBetweenChecks == 0) {
      token.throwIfCancelled();
    }
  }
  if (offset == data.size()) {
    throwMalformedJPEG();
  }
  return offset;
}

// The end of the segment whose marker byte is at `markerOffset`. The length after it includes its own two
// bytes (B.1.1.4).
std::size_t segmentEnd(Bytes data, std::size_t markerOffset) {
  const std::size_t lengthOffset = markerOffset + 1;
  if (data.size() - lengthOffset < 2) {
    throwMalformedJPEG();
  }
  const std::size_t length = bigEndian16(data, lengthOffset);
  if (length < 2 || length > data.size() - lengthOffset) {
    throwMalformedJPEG();
  }
  return lengthOffset + length;
}

}  // namespace

JPEGSegmentReader::JPEGSegmentReader(std::span<const std::byte> data, const CancellationToken& token,
                                     Garbage garbage)
    : data_(data), token_(token), garbage_(garbage) {
  if (!beginsWith(data, startOfImage)) {
    throwMalformedJPEG();
  }
  segment_.range.end = startOfImage.size();
}

bool JPEGSegmentReader::next() {
  token_.throwIfCancelled();
  std::size_t begin = segment_.range.end;
  if (garbage_ == Garbage::skipped) {
    begin = firstMarkerPrefix(data_, begin, token_);
  } else if (begin == data_.size() || data_[begin] != markerPrefix) {
    throwMalformedJPEG();
  }
  const std::size_t markerOffset = behindMarkerPrefixes(data_, begin, token_);
  const auto marker = std::to_integer<std::uint8_t>(data_[markerOffset]);
  if (marker == endOfImage) {
    throwMalformedJPEG();
  }
  if (hasNoPayload(marker)) {
    payloadBegin_ = markerOffset + 1;
    segment_ = {.marker = marker, .range = {begin, payloadBegin_}, .isExif = false};
    return true;
  }
  segment_ = {.marker = marker, .range = {begin, segmentEnd(data_, markerOffset)}, .isExif = false};
  payloadBegin_ = markerOffset + 3;
  segment_.isExif = marker == jpegMarker::application1 && beginsWith(payload(), exifPrefix);
  return marker != startOfScan;
}

std::optional<JPEGFrameSize> JPEGSegmentReader::frameSize() const {
  if (!isFrameHeader(segment_.marker) || payload().size() < 5) {
    return std::nullopt;
  }
  // P, Y, X: one byte of sample precision, and two each of lines and samples per line (B.2.2).
  return JPEGFrameSize{.width = bigEndian16(payload(), 3), .height = bigEndian16(payload(), 1)};
}

std::size_t JPEGSegmentReader::scanEOI(std::span<const std::byte> data, std::size_t entropyStart,
                                       const CancellationToken& token) {
  std::size_t offset = entropyStart;
  while (true) {
    const std::size_t markerOffset =
        behindMarkerPrefixes(data, firstMarkerPrefix(data, offset, token), token);
    const auto marker = std::to_integer<std::uint8_t>(data[markerOffset]);
    if (marker == endOfImage) {
      return markerOffset + 1;
    }
    // In entropy-coded data, a zero byte is stuffed after each 0xFF byte (B.1.1.5), and restart markers
    // separate the intervals.
    const bool isPartOfScan = marker == stuffedZero || hasNoPayload(marker);
    offset = isPartOfScan ? markerOffset + 1 : segmentEnd(data, markerOffset);
  }
}

}  // namespace tolvander
