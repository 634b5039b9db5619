#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// What the headers of a picture say.
struct ImageProperties {
  // The size in pixels as stored, at least 1 each, before any turning or cropping that the file asks of a
  // viewer.
  int pixelWidth = 0;
  int pixelHeight = 0;

  // The text of Exif's DateTimeOriginal (tag 36867) up to its first NUL byte, as stored and not validated.
  // Absent without an Exif block that can be read and has it in ASCII, with at most 128 bytes. Of the first
  // four blocks in a JPEG the first one that has the tag counts.
  std::optional<std::string> exifDateTimeOriginal = std::nullopt;

  friend bool operator==(const ImageProperties&, const ImageProperties&) = default;
};

// The properties of the main picture of a whole JPEG, PNG or HEIC file in memory; which of them it is, its
// first bytes say. Absent for every other kind of file, and where the headers are damaged; a file that is
// damaged behind them, or cut, still has its properties.
//
// Every coding of a JPEG will do, also those that few programs can decode: lossless, 12 bits, arithmetic,
// sides up to 65,535.
//
// Reads headers only and decodes nothing. The bytes may be anything: whatever they claim, it ends after time
// in proportion to their number and needs a few mebibytes of memory at most, and prints nothing. Throws
// CancellationError within 100 ms of a cancellation, and nothing else. Safe on every thread.
std::optional<ImageProperties> imageProperties(std::span<const std::byte> data,
                                               const CancellationToken& token = {});

}  // namespace tolvander
