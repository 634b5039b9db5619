#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace tolvander {

// Four facts from an Exif block (Exif 2.32), as stored in the file; nothing here has been validated.
struct ExifMetadata {
  std::optional<std::uint16_t> orientation = std::nullopt;
  std::optional<std::string> modifiedDate = std::nullopt;
  std::optional<std::string> originalDate = std::nullopt;
  std::optional<std::string> digitizedDate = std::nullopt;

  friend bool operator==(const ExifMetadata&, const ExifMetadata&) = default;

  // Reads the block that begins with the TIFF header at the start of `tiffBlock`. Single values that can't be
  // read are absent; a header or first directory that can't be read throws MediaProcessingError
  // malformedJPEG. Looks at two directories of at most 256 entries, whatever the size of the block.
  static ExifMetadata parse(std::span<const std::byte> tiffBlock);
};

}  // namespace tolvander
