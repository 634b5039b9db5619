#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/ExifMetadata.h"
#include "TolvanderCore/JPEGSegmentReader.h"

namespace tolvander {

// Where the parts of a JPEG file in memory lie (ITU-T T.81, annex B), its size, and four facts from its Exif
// blocks (Exif 2.32). A strict reader that decodes nothing. Private to TolvanderCore: CharmeraMediaProcessor
// is its one user.
//
// The segments before the scan aren't kept: JPEGSegmentReader goes through them again where they are needed,
// so that a layout is of a fixed size. Time is in proportion to the bytes.
//
// Every read is bounded, and a length that leaves the data is an error and never cut short. All failures are
// MediaProcessingError malformedJPEG. Every operation throws CancellationError within 100 ms of a
// cancellation.
struct JPEGLayout {
  using Range = ByteRange;
  using Segment = JPEGSegment;

  // From the first start-of-scan marker to the end of the end-of-image marker. Later scans and their tables
  // lie inside.
  Range scanRange;

  // From the last frame header.
  std::optional<int> width;
  std::optional<int> height;

  // Field by field from the first Exif block that has the field. An Exif block that can't be read adds
  // nothing and is no failure.
  ExifMetadata exifMetadata;

  static JPEGLayout parse(std::span<const std::byte> data, const CancellationToken& token = {});

  // "jpeg-v2:" and the SHA-256 of the bytes that make the picture: every segment but the application segments
  // and comments, then the scan. The same for all copies of a picture that differ only in metadata or in
  // what trails the end of the image. `data` must be the bytes that were parsed.
  std::string mediaFingerprint(std::span<const std::byte> data, const CancellationToken& token = {}) const;

  // The file without its Exif blocks and with `segment`, a whole APP1 segment with marker and length, behind
  // the APP0 segments at its front. Everything else stays as it is, bytes behind the end of the image
  // included. `data` must be the bytes that were parsed.
  std::vector<std::byte> replacingExif(std::span<const std::byte> data, std::span<const std::byte> segment,
                                       const CancellationToken& token = {}) const;
};

}  // namespace tolvander
