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

// Reads the segments of a JPEG in memory (ITU-T T.81, annex B) one after the other, up to the header of the
// first scan. Decodes nothing, and keeps no list: a segment can be 2 bytes long, so that a list would need
// many times the size of a hostile file. Looks for a cancellation at every marker and after every few
// mebibytes.
//
// Every read is bounded, and a length that leaves the data is an error and never cut short. All failures are
// MediaProcessingError malformedJPEG, and CancellationError. One object per thread.
class JPEGSegmentReader {
 public:
  // What to do with bytes between two segments that begin no marker.
  enum class Garbage { refused, skipped };

  // Throws malformedJPEG where no start-of-image marker is at the start of `data`, which must outlive the
  // reader.
  explicit JPEGSegmentReader(std::span<const std::byte> data, const CancellationToken& token = {},
                             Garbage garbage = Garbage::refused);

  // Moves to the next segment. False when that is the header of the first scan; it must not be called again
  // then. Throws malformedJPEG for an end of the image before a scan, and where the data ends.
  bool next();

  const JPEGSegment& segment() const { return segment_; }

  // Without the length; empty for a marker that has none.
  std::span<const std::byte> payload() const {
    return data_.subspan(payloadBegin_, segment_.range.end - payloadBegin_);
  }

  // The size that a frame header names; absent for every other segment and for a payload of fewer than 5
  // bytes.
  std::optional<JPEGFrameSize> frameSize() const;

  // The offset just behind the end-of-image marker that ends the scans whose first entropy-coded byte stands
  // at `entropyStart`. Segments between scans are stepped over by their length.
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
