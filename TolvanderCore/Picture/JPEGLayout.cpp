#include "TolvanderCore/Picture/JPEGLayout.h"

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/Pieces.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander {

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t startOfImageSize = 2;

// The markers COM and APPn (ISO/IEC 10918-1, B.2.4.5 and B.2.4.6).
bool isMetadata(std::uint8_t marker) {
  return marker == jpegMarker::comment ||
         (marker >= jpegMarker::application0 && marker <= jpegMarker::application15);
}

Bytes slice(Bytes data, JPEGLayout::Range range) {
  precondition(range.begin <= range.end && range.end <= data.size(), "the bytes are those that were parsed");
  return data.subspan(range.begin, range.end - range.begin);
}

template <typename Value>
void fillIn(std::optional<Value>& field, const std::optional<Value>& value) {
  if (!field) {
    field = value;
  }
}

void fillIn(ExifMetadata& metadata, const ExifMetadata& block) {
  fillIn(metadata.orientation, block.orientation);
  fillIn(metadata.modifiedDate, block.modifiedDate);
  fillIn(metadata.originalDate, block.originalDate);
  fillIn(metadata.digitizedDate, block.digitizedDate);
}

}  // namespace

JPEGLayout JPEGLayout::parse(std::span<const std::byte> data, const CancellationToken& token) {
  JPEGLayout layout;
  JPEGSegmentReader reader(data, token);
  while (reader.next()) {
    if (const auto size = reader.frameSize()) {
      layout.width = size->width;
      layout.height = size->height;
    }
    if (reader.segment().isExif) {
      fillIn(layout.exifMetadata, unlessMalformed([&] {
               return ExifMetadata::parse(reader.payload().subspan(exifPrefix.size()));
             }));
    }
  }
  const Range scanHeader = reader.segment().range;
  layout.scanRange = {scanHeader.begin, JPEGSegmentReader::scanEOI(data, scanHeader.end, token)};
  return layout;
}

std::string JPEGLayout::mediaFingerprint(std::span<const std::byte> data,
                                         const CancellationToken& token) const {
  SHA256 hash;
  std::size_t done = startOfImageSize;
  const auto hashUpTo = [&](std::size_t end) { hash.update(slice(data, {done, end}), token); };
  for (JPEGSegmentReader reader(data, token); reader.next();) {
    const Segment& segment = reader.segment();
    if (isMetadata(segment.marker)) {
      hashUpTo(segment.range.begin);
      done = segment.range.end;
    }
  }
  hashUpTo(scanRange.end);
  return "jpeg-v2:" + FileFingerprinter::text(hash.finish());
}

std::vector<std::byte> JPEGLayout::replacingExif(std::span<const std::byte> data,
                                                 std::span<const std::byte> segment,
                                                 const CancellationToken& token) const {
  std::vector<std::byte> output;
  output.reserve(data.size() + segment.size());
  std::size_t done = 0;
  const auto copyUpTo = [&](std::size_t end) {
    forEachPiece(slice(data, {done, end}), token,
                 [&](Bytes piece) { output.insert(output.end(), piece.begin(), piece.end()); });
    done = end;
  };

  JPEGSegmentReader reader(data, token);
  bool isSegment = reader.next();
  while (isSegment && reader.segment().marker == jpegMarker::application0) {
    isSegment = reader.next();
  }
  copyUpTo(reader.segment().range.begin);
  output.insert(output.end(), segment.begin(), segment.end());
  for (; isSegment; isSegment = reader.next()) {
    if (reader.segment().isExif) {
      copyUpTo(reader.segment().range.begin);
      done = reader.segment().range.end;
    }
  }
  copyUpTo(data.size());
  return output;
}

}  // namespace tolvander
