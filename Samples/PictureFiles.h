#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "Samples/JPEGBuilder.h"

namespace tolvander::tests {

// PNG and HEIC files whose headers are sound and whose pictures are made up.

Bytes bigEndian32(std::size_t value);

// PNG (PNG third edition, section 5)

inline const Bytes pngSignature = bytes({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'});

// With length and checksum.
Bytes chunk(std::string_view type, const Bytes& content);

Bytes pngHeader(std::size_t width, std::size_t height, int bitDepth = 8, int colourType = 2);

inline const Bytes pictureData = chunk("IDAT", bytes("deflated"));
inline const Bytes pngEnd = chunk("IEND", {});

// The signature, a header of 640 by 480, and `chunks`.
Bytes pngWith(const Bytes& chunks);

// HEIC (ISO/IEC 14496-12 and 23008-12)

Bytes box(std::string_view type, const Bytes& content);
Bytes fullBox(std::string_view type, int version, const Bytes& content);

// A piece of a file.
struct Extent {
  std::size_t offset;
  std::size_t length;
};

// A file of one picture of 1440 by 1080, made of `tiles` other ones, and one Exif item for each of
// `metadataItems`, made of those pieces.
Bytes heicWith(const std::vector<std::vector<Extent>>& metadataItems, std::size_t tiles = 0);

// As above with one Exif item, whose bytes stand at the end of the file.
Bytes heicWithExif(const Bytes& item);

}  // namespace tolvander::tests
