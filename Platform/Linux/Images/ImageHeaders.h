#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Platform/ImageProperties.h"

// The parsers that imageProperties uses, one per format. The data must have been recognised as that format.
// They return no properties for damaged headers, need time and memory in proportion to the size, and print
// nothing. They throw only std::bad_alloc and, with a token, CancellationError.
namespace tolvander::platform::linux_ {

using Bytes = std::span<const std::byte>;

// The size is that of the last frame header (SOF, ISO/IEC 10918-1, B.2.2) before the first scan. Skips bytes
// between two segments that don't begin a marker.
std::optional<ImageProperties> jpegProperties(Bytes data, const CancellationToken& token);

// Parses the chunks (PNG third edition, sections 5 and 11) without a library: the Exif chunk may follow the
// image data, which a PNG library could skip only by decompressing it.
std::optional<ImageProperties> pngProperties(Bytes data, const CancellationToken& token);

// Uses libheif.
std::optional<ImageProperties> heicProperties(Bytes data);

// The text of DateTimeOriginal (Exif 2.32, section 4.6) in the Exif data that begins with the TIFF header at
// the start of `tiffBlock`, up to the first NUL. Absent if the data is damaged or has none.
std::optional<std::string> exifDateTimeOriginal(Bytes tiffBlock);

}  // namespace tolvander::platform::linux_
