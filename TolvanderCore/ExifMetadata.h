#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace tolvander {

// Four fields of an Exif block (Exif 2.32), as stored in the file and not validated.
struct ExifMetadata {
  std::optional<std::uint16_t> orientation = std::nullopt;
  std::optional<std::string> modifiedDate = std::nullopt;
  std::optional<std::string> originalDate = std::nullopt;
  std::optional<std::string> digitizedDate = std::nullopt;

  friend bool operator==(const ExifMetadata&, const ExifMetadata&) = default;

  // Reads a block that begins with its TIFF header. A field that can't be read is absent. Throws
  // MediaProcessingError malformedJPEG if the header or the first directory can't be read. Reads at most two
  // directories of at most 256 entries, whatever the size of the block.
  static ExifMetadata parse(std::span<const std::byte> tiffBlock);
};

}  // namespace tolvander
