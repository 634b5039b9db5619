#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Platform/ImageProperties.h"

// The readers behind imageProperties, one for each kind of file. Each takes a file of its kind for granted
// and keeps what imageProperties promises: absent properties for damaged headers, time and memory in
// proportion to the bytes, and nothing printed. They throw std::bad_alloc at most, and CancellationError
// where they take a token.
namespace tolvander::platform::linux_ {

using Bytes = std::span<const std::byte>;

// The size is that of the last frame header before the first scan. Bytes between two segments that begin no
// marker are skipped.
std::optional<ImageProperties> jpegProperties(Bytes data, const CancellationToken& token);

// Walks the chunks (PNG third edition, sections 5 and 11) and needs no library: an Exif chunk may stand
// behind the picture's data, which a PNG library gets past only by inflating it.
std::optional<ImageProperties> pngProperties(Bytes data, const CancellationToken& token);

// Answered by libheif.
std::optional<ImageProperties> heicProperties(Bytes data);

// The text of DateTimeOriginal in the Exif block that begins with the TIFF header at the start of
// `tiffBlock`, up to its first NUL byte. Absent where the block is damaged or has none.
std::optional<std::string> exifDateTimeOriginal(Bytes tiffBlock);

}  // namespace tolvander::platform::linux_
