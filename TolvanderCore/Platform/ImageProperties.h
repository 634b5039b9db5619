#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// The properties in the headers of a picture.
struct ImageProperties {
  // The size in pixels as stored, at least 1 each, before any rotation or cropping that the file asks for.
  int pixelWidth = 0;
  int pixelHeight = 0;

  // The text of Exif's DateTimeOriginal (tag 36867) up to its first NUL byte, as stored and not validated.
  // Absent without a readable Exif block that has it as ASCII text of at most 128 bytes. In a JPEG, taken
  // from the first of the first four Exif blocks that has the tag.
  std::optional<std::string> exifDateTimeOriginal = std::nullopt;

  friend bool operator==(const ImageProperties&, const ImageProperties&) = default;
};

// The properties of the main picture of a JPEG, PNG or HEIC file in memory, recognised by its first bytes.
// Absent for other files and for damaged headers. A file that is damaged or cut off after its headers still
// has properties.
//
// All codings of a JPEG are supported, including lossless, 12 bits and arithmetic, with sides up to 65,535
// pixels.
//
// Reads headers only and decodes nothing. For any bytes it takes linear time and at most a few mebibytes of
// memory, and prints nothing. Throws CancellationError within 100 ms of a cancellation, and nothing else.
// Safe on every thread.
std::optional<ImageProperties> imageProperties(std::span<const std::byte> data,
                                               const CancellationToken& token = {});

}  // namespace tolvander
