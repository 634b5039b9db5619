#include "TolvanderCore/ExifMetadata.h"

#include <vector>

#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Picture/TIFF.h"
#include "TolvanderCore/Picture/TIFFReader.h"

namespace tolvander {

namespace {

namespace tag = tiff::tag;

std::optional<std::uint16_t> readOrientation(const TIFFReader& reader,
                                             std::span<const TIFFReader::Entry> entries) {
  const TIFFReader::Entry* const entry = firstEntry(tag::orientation, entries);
  if (entry == nullptr || entry->type != tiff::type::shortInteger || entry->count != 1) {
    return std::nullopt;
  }
  return reader.uint16Absolute(entry->valueFieldOffset);
}

std::vector<TIFFReader::Entry> exifEntries(const TIFFReader& reader,
                                           std::span<const TIFFReader::Entry> entries) {
  const TIFFReader::Entry* const entry = firstEntry(tag::exifDirectory, entries);
  if (entry == nullptr || entry->type != tiff::type::longInteger || entry->count != 1) {
    return {};
  }
  return reader.entries(reader.uint32Absolute(entry->valueFieldOffset));
}

}  // namespace

ExifMetadata ExifMetadata::parse(std::span<const std::byte> tiffBlock) {
  const TIFFReader reader(tiffBlock, 0, tiffBlock.size());
  if (!reader.magicIsValid()) {
    throwMalformedJPEG();
  }
  const auto entries = reader.entries(reader.uint32Absolute(reader.start + 4));
  const auto exif = unlessMalformed([&] { return exifEntries(reader, entries); });
  return {
      .orientation = unlessMalformed([&] { return readOrientation(reader, entries); }),
      .modifiedDate = unlessMalformed([&] { return reader.asciiValue(tag::dateTime, entries); }),
      .originalDate = unlessMalformed([&] { return reader.asciiValue(tag::dateTimeOriginal, exif); }),
      .digitizedDate = unlessMalformed([&] { return reader.asciiValue(tag::dateTimeDigitized, exif); }),
  };
}

}  // namespace tolvander
