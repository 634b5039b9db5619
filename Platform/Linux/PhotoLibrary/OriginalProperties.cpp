#include "Platform/Linux/PhotoLibrary/OriginalProperties.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/PictureHead.h"
#include "TolvanderCore/Platform/ImageProperties.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander::platform::linux_ {

namespace {

OriginalProperties pictureProperties(const FileURL& file, const TimeZone& zone) {
  FileReader reader(file);
  std::vector<std::byte> bytes(std::min(reader.size(), static_cast<std::size_t>(PictureHead::maximumBytes)));
  bytes.resize(reader.read(bytes));
  const auto image = imageProperties(bytes);
  if (!image) {
    return {};
  }
  OriginalProperties properties;
  properties.pixelWidth = image->pixelWidth;
  properties.pixelHeight = image->pixelHeight;
  if (image->exifDateTimeOriginal) {
    properties.creationDate = dateFromExifText(*image->exifDateTimeOriginal, zone);
  }
  return properties;
}

OriginalProperties filmProperties(const FileURL& file) {
  try {
    const VideoMediaMetadata video = VideoMediaMetadata::load(Movie(file));
    return {.pixelWidth = video.pixelWidth,
            .pixelHeight = video.pixelHeight,
            .duration = video.duration,
            .creationDate = video.captureDate};
  } catch (const MovieError&) {
    return {};
  } catch (const CharmeraVideoProcessingError&) {
    return {};
  }
}

}  // namespace

OriginalProperties originalProperties(const FileURL& file, app::PhotosMediaType type, const TimeZone& zone) {
  return type == app::PhotosMediaType::video ? filmProperties(file) : pictureProperties(file, zone);
}

}  // namespace tolvander::platform::linux_
