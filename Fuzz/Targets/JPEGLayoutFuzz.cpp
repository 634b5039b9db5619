// A file that parses keeps its picture when its Exif is replaced, and a second replacement changes nothing.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Tests/Support/Media/JPEGSegments.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Picture/JPEGLayout.h"

namespace {

using tolvander::ExifMetadata;
using tolvander::JPEGLayout;
using tolvander::MediaProcessingError;
using tolvander::precondition;
using tolvander::tests::segmentsOf;

// An APP1 segment with an Exif prefix and nothing behind it.
constexpr std::array emptyExif{std::byte{0xFF}, std::byte{0xE1}, std::byte{0},   std::byte{8}, std::byte{'E'},
                               std::byte{'x'},  std::byte{'i'},  std::byte{'f'}, std::byte{0}, std::byte{0}};

// For a reader of blocks to meet every input, and not only those that a whole file leads to.
void readAsExifBlock(std::span<const std::byte> data) {
  try {
    ExifMetadata::parse(data);
  } catch (const MediaProcessingError& error) {
    precondition(error.kind() == MediaProcessingError::Case::malformedJPEG, "the one failure of a reader");
  }
}

void checkLayout(const JPEGLayout& layout, std::span<const std::byte> data) {
  std::size_t end = 2;
  for (const JPEGLayout::Segment& segment : segmentsOf(data)) {
    precondition(segment.range.begin == end && segment.range.end > end, "segments follow one another");
    end = segment.range.end;
  }
  precondition(layout.scanRange.begin == end && layout.scanRange.end <= data.size(), "the scan follows them");
  precondition(data[layout.scanRange.end - 1] == std::byte{0xD9}, "the scan ends with the image");
}

void checkReplacement(const JPEGLayout& layout, std::span<const std::byte> data) {
  const auto replaced = layout.replacingExif(data, emptyExif);
  const JPEGLayout again = JPEGLayout::parse(replaced);
  checkLayout(again, replaced);
  precondition(std::ranges::count_if(segmentsOf(replaced), &JPEGLayout::Segment::isExif) == 1,
               "one Exif block");
  precondition(again.exifMetadata == ExifMetadata{}, "the old Exif is gone");
  precondition(again.width == layout.width && again.height == layout.height, "the size stays");
  precondition(again.mediaFingerprint(replaced) == layout.mediaFingerprint(data), "the picture stays");
  precondition(again.replacingExif(replaced, emptyExif) == replaced, "replacing twice is replacing once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto data = std::as_bytes(std::span(bytes, size));
  readAsExifBlock(data);
  try {
    const JPEGLayout layout = JPEGLayout::parse(data);
    checkLayout(layout, data);
    checkReplacement(layout, data);
  } catch (const MediaProcessingError& error) {
    precondition(error.kind() == MediaProcessingError::Case::malformedJPEG, "the one failure of a reader");
  }
  return 0;
}
