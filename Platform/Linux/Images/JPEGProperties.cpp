#include "Platform/Linux/Images/ImageHeaders.h"
#include "TolvanderCore/JPEGSegmentReader.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander::platform::linux_ {

std::optional<ImageProperties> jpegProperties(Bytes data, const CancellationToken& token) {
  ImageProperties properties;
  int exifBlocksLeft = 4;
  try {
    JPEGSegmentReader reader(data, token, JPEGSegmentReader::Garbage::skipped);
    while (reader.next()) {
      if (const auto size = reader.frameSize()) {
        properties.pixelWidth = size->width;
        properties.pixelHeight = size->height;
      }
      if (reader.segment().isExif && !properties.exifDateTimeOriginal && exifBlocksLeft > 0) {
        properties.exifDateTimeOriginal = exifDateTimeOriginal(reader.payload().subspan(exifPrefix.size()));
        --exifBlocksLeft;
      }
    }
  } catch (const MediaProcessingError&) {
    return std::nullopt;
  }
  const bool hasSize = properties.pixelWidth > 0 && properties.pixelHeight > 0;
  return hasSize ? std::optional(properties) : std::nullopt;
}

}  // namespace tolvander::platform::linux_
