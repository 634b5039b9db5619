#include "TolvanderCore/Platform/ImageProperties.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

#include "Platform/Linux/Images/ImageHeaders.h"
#include "TolvanderCore/ExifMetadata.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander {

namespace {

using platform::linux_::Bytes;

bool hasAt(Bytes data, std::size_t offset, std::string_view text) {
  return data.size() >= offset + text.size() &&
         std::ranges::equal(data.subspan(offset, text.size()), text,
                            [](std::byte byte, char character) { return byte == std::byte(character); });
}

// Whether a file of the ISO base media file format has a brand for HEVC images (ISO/IEC 23008-12, annex B)
// or the general brand for HEIF images.
bool isHEIC(Bytes data) {
  constexpr std::size_t brandOffset = 8;
  constexpr std::array<std::string_view, 8> brands{"heic", "heix", "heim", "heis",
                                                   "hevc", "hevx", "mif1", "msf1"};
  return hasAt(data, 4, "ftyp") &&
         std::ranges::any_of(brands, [&](std::string_view brand) { return hasAt(data, brandOffset, brand); });
}

std::optional<ImageProperties> propertiesByKind(Bytes data, const CancellationToken& token) {
  if (hasAt(data, 0, "\xFF\xD8\xFF")) {
    return platform::linux_::jpegProperties(data, token);
  }
  if (hasAt(data, 0, "\x89PNG\r\n\x1A\n")) {
    return platform::linux_::pngProperties(data, token);
  }
  if (isHEIC(data)) {
    return platform::linux_::heicProperties(data);
  }
  return std::nullopt;
}

}  // namespace

namespace platform::linux_ {

std::optional<std::string> exifDateTimeOriginal(Bytes tiffBlock) {
  return unlessMalformed([&] { return ExifMetadata::parse(tiffBlock).originalDate; });
}

}  // namespace platform::linux_

std::optional<ImageProperties> imageProperties(std::span<const std::byte> data,
                                               const CancellationToken& token) {
  try {
    return propertiesByKind(data, token);
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace tolvander
