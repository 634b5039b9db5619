// Whatever the bytes, the properties are sensible and always the same, and agree with the system's own reader
// of JPEGs where both accept a file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "TolvanderCore/JPEGLayout.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Platform/ImageProperties.h"
#include "TolvanderCore/Precondition.h"

namespace {

using tolvander::ImageProperties;
using tolvander::JPEGLayout;
using tolvander::precondition;

void checkAgainstLayout(const ImageProperties& properties, std::span<const std::byte> data) {
  try {
    const JPEGLayout layout = JPEGLayout::parse(data);
    // The two differ over the marker 0x00: it has a length for one and is garbage for the other.
    const bool readsDifferently =
        std::ranges::any_of(layout.segments, [](const auto& segment) { return segment.marker == 0; });
    precondition(readsDifferently ||
                     (layout.width == properties.pixelWidth && layout.height == properties.pixelHeight),
                 "two readers see the same size");
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
    checkAgainstLayout(*properties, data);
  }
  return 0;
}
