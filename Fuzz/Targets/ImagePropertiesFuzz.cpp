// Whatever the bytes, the properties are sensible and always the same, and agree with the reader that repairs
// JPEGs where that accepts a file.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Picture/JPEGLayout.h"
#include "TolvanderCore/Platform/ImageProperties.h"

namespace {

using tolvander::ImageProperties;
using tolvander::JPEGLayout;
using tolvander::precondition;

// A JPEG that can be repaired has properties, and the size that the repair sees.
void checkAgainstLayout(const std::optional<ImageProperties>& properties, std::span<const std::byte> data) {
  try {
    const JPEGLayout layout = JPEGLayout::parse(data);
    const bool hasSize = layout.width.value_or(0) > 0 && layout.height.value_or(0) > 0;
    precondition(properties.has_value() == hasSize, "a size is a picture");
    precondition(
        !hasSize || (layout.width == properties->pixelWidth && layout.height == properties->pixelHeight),
        "two readers see the same size");
    const auto& date = properties ? properties->exifDateTimeOriginal : std::nullopt;
    precondition(!date || date == layout.exifMetadata.originalDate, "two readers see the same date");
  } catch (const tolvander::MediaProcessingError&) {
    // No JPEG, or one that only the more lenient reader accepts.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto data = std::as_bytes(std::span(bytes, size));
  const auto properties = tolvander::imageProperties(data);
  precondition(properties == tolvander::imageProperties(data), "a function of the bytes");
  if (properties) {
    precondition(properties->pixelWidth >= 1 && properties->pixelHeight >= 1, "a picture has pixels");
    const auto& date = properties->exifDateTimeOriginal;
    precondition(!date || date->find('\0') == std::string::npos, "text ends at its first NUL");
  }
  checkAgainstLayout(properties, data);
  return 0;
}
