// Every pass over the bytes of a picture ends when it is cancelled in the middle.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "Samples/JPEGBuilder.h"
#include "Samples/PictureFiles.h"
#include "Tests/Support/Media/TrippedBytes.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/JPEGSegmentReader.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/Picture/JPEGLayout.h"
#include "TolvanderCore/Platform/ImageProperties.h"

namespace tolvander::tests {

namespace {

using Read = std::function<void(std::span<const std::byte>, const CancellationToken&)>;

constexpr std::size_t mebibyte = 1'048'576;

// A whole JPEG with `content` before its frame header.
Bytes jpegWith(const Bytes& content) {
  return JPEGBuilder().raw(content).frame(640, 480).scan().endOfImage().build();
}

Bytes jpegOfScan(const Bytes& entropyCoded) {
  return JPEGBuilder().frame(640, 480).scan(entropyCoded).endOfImage().build();
}

struct NamedContent {
  std::string_view name;
  Bytes bytes;
};

// What a JPEG can repeat before its scan. Fill bytes are stepped over a mebibyte at a time.
std::vector<NamedContent> repetitiveHeaders() {
  return {
      {"fill bytes", jpegWith(repeated(bytes({0xFF}), 3 * mebibyte))},
      {"restart markers", jpegWith(repeated(bytes({0xFF, 0xD3}), 100'000))},
      {"empty segments", jpegWith(repeated(bytes({0xFF, 0xE1, 0, 2}), 100'000))},
      {"empty Exif", jpegWith(repeated(bytes({0xFF, 0xE1, 0, 8, 'E', 'x', 'i', 'f', 0, 0}), 10'000))},
      {"broken Exif",
       jpegWith(repeated(bytes({0xFF, 0xE1, 0, 16, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0}),
                         10'000))},
  };
}

// What it can repeat in its scan. Bytes without a marker are searched 16 MiB at a time.
std::vector<NamedContent> repetitiveScans() {
  return {
      {"stuffed zeros", jpegOfScan(repeated(bytes({0xFF, 0}), 100'000))},
      {"restart markers", jpegOfScan(repeated(bytes({0xFF, 0xD3}), 100'000))},
      {"fill bytes", jpegOfScan(repeated(bytes({0xFF}), 3 * mebibyte))},
      {"tables", jpegOfScan(repeated(bytes({0xFF, 0xC4, 0, 2}), 100'000))},
      {"no marker", jpegOfScan(Bytes(40 * mebibyte))},
  };
}

// Headers that are long to find, and a scan that is long to hash and to copy.
std::vector<NamedContent> longPictures() {
  std::vector<NamedContent> contents = repetitiveHeaders();
  contents.push_back({"long scan", jpegOfScan(Bytes(3 * mebibyte))});
  return contents;
}

void expectCancelledAtHalf(const NamedContent& content, const Read& read) {
  EXPECT_NO_THROW(read(content.bytes, {})) << content.name;
  CancellationSource source;
  const TrippedBytes tripped(content.bytes, [&] { source.cancel(); });
  EXPECT_THROW(read(tripped.bytes(), source.token()), CancellationError) << content.name;
}

}  // namespace

TEST(MediaCancellation, endsTheHashOfBytesInMemory) {
  expectCancelledAtHalf({"zeros", Bytes(3 * mebibyte)},
                        [](auto data, const auto& token) { FileFingerprinter::sha256(data, token); });
}

TEST(MediaCancellation, endsTheWalkOverTheSegmentsOfAJPEG) {
  for (const NamedContent& content : repetitiveHeaders()) {
    expectCancelledAtHalf(content, [](auto data, const auto& token) {
      for (JPEGSegmentReader reader(data, token); reader.next();) {
      }
    });
  }
}

TEST(MediaCancellation, endsTheSearchForTheEndOfTheScan) {
  for (const NamedContent& content : repetitiveScans()) {
    expectCancelledAtHalf(content, [](auto data, const auto& token) { JPEGLayout::parse(data, token); });
  }
}

TEST(MediaCancellation, endsTheFingerprintOfAPicture) {
  for (const NamedContent& content : longPictures()) {
    const JPEGLayout layout = JPEGLayout::parse(content.bytes);
    expectCancelledAtHalf(content,
                          [&](auto data, const auto& token) { layout.mediaFingerprint(data, token); });
  }
}

TEST(MediaCancellation, endsTheReplacementOfExif) {
  const Bytes segment = bytes({0xFF, 0xE1, 0, 2});
  for (const NamedContent& content : longPictures()) {
    const JPEGLayout layout = JPEGLayout::parse(content.bytes);
    expectCancelledAtHalf(content,
                          [&](auto data, const auto& token) { layout.replacingExif(data, segment, token); });
  }
}

TEST(MediaCancellation, endsThePropertiesOfAJPEG) {
  for (const NamedContent& content : repetitiveHeaders()) {
    expectCancelledAtHalf(content, [](auto data, const auto& token) { imageProperties(data, token); });
  }
  expectCancelledAtHalf({"garbage", jpegWith(bytes({0xFF, 0xD3}) + Bytes(40 * mebibyte))},
                        [](auto data, const auto& token) { imageProperties(data, token); });
}

TEST(MediaCancellation, endsThePropertiesOfAPNG) {
  expectCancelledAtHalf({"chunks", pngWith(repeated(chunk("abCd", {}), 100'000))},
                        [](auto data, const auto& token) { imageProperties(data, token); });
}

TEST(MediaCancellation, endsTheSearchForTheDateOfAPicture) {
  expectCancelledAtHalf(repetitiveHeaders().front(), [](auto data, const auto& token) {
    MediaStagingService::captureDate(data, TimeZone::utc(), token);
  });
}

TEST(MediaCancellation, endsAPlanAndAPayloadFingerprint) {
  CancellationSource source;
  source.cancel();
  const Bytes picture = jpegOfScan({});
  EXPECT_THROW(CharmeraMediaProcessor::plan(picture, "JPG", true, Date(), TimeZone::utc(), source.token()),
               CancellationError);
  EXPECT_THROW(CharmeraMediaProcessor::plan(picture, "JPG", false, Date(), TimeZone::utc(), source.token()),
               CancellationError);
  EXPECT_THROW(CharmeraMediaProcessor::jpegMediaPayloadFingerprint(picture, source.token()),
               CancellationError);
}

}  // namespace tolvander::tests
