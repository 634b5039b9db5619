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

// The positions of the parts of a JPEG file in memory (ISO/IEC 10918-1 | ITU-T T.81, annex B), its size, and
// four fields of its Exif blocks (Exif 2.32). A strict reader that decodes nothing. Private to TolvanderCore;
// used by CharmeraMediaProcessor only.
//
// The segments before the scan are not stored, so that a layout has a fixed size; JPEGSegmentReader reads
// them again where they are needed. All operations take linear time.
//
// Every read is checked against the end of the data. A length that exceeds the data is an error and is never
// shortened. All failures are MediaProcessingError malformedJPEG. Every operation throws CancellationError
// within 100 ms of a cancellation.
struct JPEGLayout {
  using Range = ByteRange;
  using Segment = JPEGSegment;

  // From the first start-of-scan marker to the end of the end-of-image marker, including later scans and
  // their tables.
  Range scanRange;

  // From the last frame header.
  std::optional<int> width;
  std::optional<int> height;

  // Each field is taken from the first Exif block that has it. An Exif block that can't be read is ignored.
  ExifMetadata exifMetadata;

  static JPEGLayout parse(std::span<const std::byte> data, const CancellationToken& token = {});

  // "jpeg-v2:" and the SHA-256 of the picture without its metadata: all segments but application segments and
  // comments, then the scan. Equal for all copies of a picture that differ only in metadata or in bytes after
  // the end of the image. `data` must be the bytes that were parsed.
  std::string mediaFingerprint(std::span<const std::byte> data, const CancellationToken& token = {}) const;

  // The file without its Exif blocks and with `segment`, a complete APP1 segment with marker and length,
  // after the APP0 segments at its beginning. All other bytes are unchanged, including those after the end of
  // the image. `data` must be the bytes that were parsed.
  std::vector<std::byte> replacingExif(std::span<const std::byte> data, std::span<const std::byte> segment,
                                       const CancellationToken& token = {}) const;
};

}  // namespace tolvander
