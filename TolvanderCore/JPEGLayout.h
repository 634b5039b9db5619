#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tolvander {

// Where the parts of a JPEG file in memory lie (ITU-T T.81, annex B), its size, and four facts from its Exif
// blocks (Exif 2.32). A strict reader that decodes nothing. Private to TolvanderCore: CharmeraMediaProcessor
// is its one user.
//
// Every read is bounded, and a length that leaves the data is an error and never cut short. All failures are
// MediaProcessingError malformedJPEG.
struct JPEGLayout {
  // Byte offsets from `begin` up to and without `end`.
  struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;

    friend bool operator==(const Range&, const Range&) = default;
  };

  struct Segment {
    std::uint8_t marker = 0;  // the byte behind 0xFF
    Range range;              // from the first 0xFF of the marker, fill bytes included, to the payload's end
    bool isExif = false;

    friend bool operator==(const Segment&, const Segment&) = default;
  };

  // As stored in the file; nothing here has been validated.
  struct ExifMetadata {
    std::optional<std::uint16_t> orientation = std::nullopt;
    std::optional<std::string> modifiedDate = std::nullopt;
    std::optional<std::string> originalDate = std::nullopt;
    std::optional<std::string> digitizedDate = std::nullopt;

    friend bool operator==(const ExifMetadata&, const ExifMetadata&) = default;
  };

  // Everything between the start-of-image marker and the first scan, in file order.
  std::vector<Segment> segments;

  // From the first start-of-scan marker to the end of the end-of-image marker. Later scans and their tables
  // lie inside.
  Range scanRange;

  // From the last frame header.
  std::optional<int> width;
  std::optional<int> height;

  // Field by field from the first Exif block that has the field. An Exif block that can't be read adds
  // nothing and is no failure.
  ExifMetadata exifMetadata;

  static JPEGLayout parse(std::span<const std::byte> data);

  // "jpeg-v2:" and the SHA-256 of the bytes that make the picture: every segment but the application segments
  // and comments, then the scan. The same for all copies of a picture that differ only in metadata or in
  // what trails the end of the image. `data` must be the bytes that were parsed.
  std::string mediaFingerprint(std::span<const std::byte> data) const;

  // The file without its Exif blocks and with `segment`, a whole APP1 segment with marker and length, behind
  // the APP0 segments at its front. Everything else stays as it is, bytes behind the end of the image
  // included. `data` must be the bytes that were parsed.
  std::vector<std::byte> replacingExif(std::span<const std::byte> data,
                                       std::span<const std::byte> segment) const;

  // The offset just behind the end-of-image marker that ends the scans whose first entropy-coded byte stands
  // at `entropyStart`. Segments between scans are stepped over by their length.
  static std::size_t scanEOI(std::span<const std::byte> data, std::size_t entropyStart);

  // The facts of one Exif block; `payloadRange` begins at its "Exif" prefix. Single values that can't be read
  // are absent, a header or first directory that can't be read is a failure.
  static ExifMetadata parseExif(std::span<const std::byte> data, Range payloadRange);
};

}  // namespace tolvander
