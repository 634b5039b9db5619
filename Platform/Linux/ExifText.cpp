#include <libexif/exif-data.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "Platform/Linux/ImageHeaders.h"

namespace tolvander::platform::linux_ {

namespace {

struct Unref {
  void operator()(ExifData* data) const { exif_data_unref(data); }
};

}  // namespace

std::optional<std::string> exifDateTimeOriginal(Bytes tiffBlock) {
  // The library wants the prefix that a JPEG puts before the TIFF header, and looks at no more than 64 KiB.
  constexpr std::array<unsigned char, 6> prefix{'E', 'x', 'i', 'f', 0, 0};
  constexpr std::size_t maximumSize = 65535;
  std::vector<unsigned char> block(prefix.begin(), prefix.end());
  for (const std::byte byte : tiffBlock.first(std::min(tiffBlock.size(), maximumSize - prefix.size()))) {
    block.push_back(std::to_integer<unsigned char>(byte));
  }

  const std::unique_ptr<ExifData, Unref> exif(exif_data_new());
  if (exif == nullptr) {
    return std::nullopt;
  }
  // Otherwise the library goes on to add and correct entries: work on foreign bytes for nothing.
  exif_data_unset_option(exif.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  exif_data_load_data(exif.get(), block.data(), static_cast<unsigned>(block.size()));

  const ExifEntry* const entry =
      exif_content_get_entry(exif->ifd[EXIF_IFD_EXIF], EXIF_TAG_DATE_TIME_ORIGINAL);
  if (entry == nullptr || entry->format != EXIF_FORMAT_ASCII || entry->data == nullptr) {
    return std::nullopt;
  }
  const std::span text(entry->data, entry->size);
  return std::string(text.begin(), std::ranges::find(text, '\0'));
}

}  // namespace tolvander::platform::linux_
