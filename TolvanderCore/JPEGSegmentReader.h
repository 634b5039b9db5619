#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// Byte offsets from `begin` up to and without `end`.
struct ByteRange {
  std::size_t begin = 0;
  std::size_t end = 0;

  friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

struct JPEGSegment {
  std::uint8_t marker = 0;  // the byte behind 0xFF
  ByteRange range;          // from the first 0xFF of the marker, fill bytes included, to the payload's end
  bool isExif = false;

  friend bool operator==(const JPEGSegment&, const JPEGSegment&) = default;
};

struct JPEGFrameSize {
  int width = 0;   // pixels, 0 to 65,535
  int height = 0;  // lines, 0 to 65,535
};

// Reads the segments of a JPEG in memory (ISO/IEC 10918-1 | ITU-T T.81, annex B) one after the other, up to
// the header of the first scan. It decodes nothing and keeps no list of segments: a segment can be 2 bytes
// long, so that a list could need many times the memory of the file. Checks for cancellation at every marker
// and after every few mebibytes.
//
// Every read is checked against the end of the data. A length that exceeds the data is an error and is never
// shortened. Throws MediaProcessingError malformedJPEG and CancellationError only. One object per thread.
class JPEGSegmentReader {
 public:
  // What to do with bytes between two segments that are no marker.
  enum class Garbage { refused, skipped };

  // Throws malformedJPEG if `data` doesn't begin with a start-of-image marker. `data` must outlive the
  // reader.
  explicit JPEGSegmentReader(std::span<const std::byte> data, const CancellationToken& token = {},
                             Garbage garbage = Garbage::refused);

  // Moves to the next segment. Returns false at the header of the first scan, after which it must not be
  // called again. Throws malformedJPEG if the image or the data ends before a scan.
  bool next();

  const JPEGSegment& segment() const { return segment_; }

  // The bytes after the length field; empty for a marker without a length.
  std::span<const std::byte> payload() const {
    return data_.subspan(payloadBegin_, segment_.range.end - payloadBegin_);
  }

  // The size in a frame header (B.2.2). Absent for other segments, and for a payload of fewer than 5 bytes.
  std::optional<JPEGFrameSize> frameSize() const;

  // The offset after the end-of-image marker, searched for from `entropyStart`, where the entropy-coded data
  // of the first scan begins. Segments between scans are skipped by their length.
  static std::size_t scanEOI(std::span<const std::byte> data, std::size_t entropyStart,
                             const CancellationToken& token = {});

 private:
  std::span<const std::byte> data_;
  CancellationToken token_;
  Garbage garbage_;
  JPEGSegment segment_;
  std::size_t payloadBegin_ = 0;
};

namespace jpegMarker {
constexpr std::uint8_t application0 = 0xE0;
constexpr std::uint8_t application1 = 0xE1;
constexpr std::uint8_t application15 = 0xEF;
constexpr std::uint8_t comment = 0xFE;
}  // namespace jpegMarker

// What precedes the TIFF header in the payload of an Exif segment (Exif 2.32, section 4.7.2).
inline constexpr std::array exifPrefix{std::byte{'E'}, std::byte{'x'}, std::byte{'i'},
                                       std::byte{'f'}, std::byte{0},   std::byte{0}};

}  // namespace tolvander
