#include "TolvanderCore/Picture/JPEGLayout.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/PeakMemory.h"
#include "Tests/Support/Media/JPEGSegments.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander::tests {

namespace {

using Range = JPEGLayout::Range;
using Segment = JPEGLayout::Segment;

template <typename Read>
void expectMalformed(Read read) {
  try {
    read();
    FAIL() << "nothing was thrown";
  } catch (const MediaProcessingError& error) {
    EXPECT_EQ(error.kind(), MediaProcessingError::Case::malformedJPEG);
  }
}

void expectMalformed(const Bytes& data) {
  expectMalformed([&] { JPEGLayout::parse(data); });
}

JPEGLayout parse(const JPEGBuilder& builder) { return JPEGLayout::parse(builder.build()); }

std::vector<Segment> segmentsOf(const JPEGBuilder& builder) { return tests::segmentsOf(builder.build()); }

// The end that a whole file needs.
JPEGBuilder finished(JPEGBuilder front) { return front.frame(640, 480).scan().endOfImage(); }

std::string fingerprintOf(const Bytes& data) { return JPEGLayout::parse(data).mediaFingerprint(data); }

const Bytes newSegment = bytes({0xFF, 0xE1, 0, 8}) + bytes("new   ");

Bytes replacedIn(const Bytes& data) { return JPEGLayout::parse(data).replacingExif(data, newSegment); }

constexpr std::string_view firstDate = "2026:11:20 10:30:00";
constexpr std::string_view secondDate = "2025:01:02 03:04:05";

}  // namespace

TEST(JPEGLayout, findsSegmentsScanAndSize) {
  JPEGBuilder builder;
  builder.jfif();
  const std::size_t frameStart = builder.size();
  builder.frame(1440, 1080);
  const std::size_t scanStart = builder.size();
  builder.scan().endOfImage();

  const JPEGLayout layout = parse(builder);
  EXPECT_EQ(segmentsOf(builder), (std::vector<Segment>{{.marker = 0xE0, .range = {2, frameStart}},
                                                       {.marker = 0xC0, .range = {frameStart, scanStart}}}));
  EXPECT_EQ(layout.scanRange, (Range{scanStart, builder.size()}));
  EXPECT_EQ(layout.width, 1440);
  EXPECT_EQ(layout.height, 1080);
  EXPECT_EQ(layout.exifMetadata, ExifMetadata{});
}

TEST(JPEGLayout, refusesFewerThanFourBytes) {
  expectMalformed(Bytes{});
  expectMalformed(bytes({0xFF, 0xD8}));
  expectMalformed(bytes({0xFF, 0xD8, 0xFF}));
}

TEST(JPEGLayout, refusesAnotherStart) {
  Bytes data = finished(JPEGBuilder()).build();
  data[0] = std::byte{0xFE};
  expectMalformed(data);
  data = finished(JPEGBuilder()).build();
  data[1] = std::byte{0xD9};
  expectMalformed(data);
  expectMalformed(bytes({0}) + finished(JPEGBuilder()).build());
}

TEST(JPEGLayout, refusesEverythingButAMarkerBetweenSegments) {
  expectMalformed(finished(JPEGBuilder().jfif().raw(bytes({0}))).build());
  expectMalformed(bytes({0xFF, 0xD8, 0x00, 0x00}));
}

TEST(JPEGLayout, refusesAFileThatEndsBehindASegment) { expectMalformed(JPEGBuilder().jfif().build()); }

TEST(JPEGLayout, refusesAFileThatEndsInFillBytes) {
  expectMalformed(JPEGBuilder().jfif().raw(bytes({0xFF})).build());
  expectMalformed(JPEGBuilder().jfif().raw(bytes({0xFF, 0xFF, 0xFF})).build());
}

TEST(JPEGLayout, countsFillBytesToTheirSegment) {
  JPEGBuilder builder;
  builder.raw(bytes({0xFF, 0xFF, 0xFF})).jfif();
  const std::size_t end = builder.size();
  EXPECT_EQ(segmentsOf(finished(builder)).front(), (Segment{.marker = 0xE0, .range = {2, end}}));
}

TEST(JPEGLayout, countsFillBytesBeforeTheScanToTheScan) {
  JPEGBuilder builder;
  builder.frame(8, 8);
  const std::size_t start = builder.size();
  builder.raw(bytes({0xFF, 0xFF})).scan().endOfImage();
  EXPECT_EQ(parse(builder).scanRange, (Range{start, builder.size()}));
}

TEST(JPEGLayout, keepsStandaloneMarkersAsSegmentsOfTheirOwn) {
  for (const int marker : {0x01, 0xD0, 0xD3, 0xD7}) {
    const auto segments = segmentsOf(finished(JPEGBuilder().raw(bytes({0xFF, 0xFF, marker}))));
    EXPECT_EQ(segments.front(), (Segment{.marker = static_cast<std::uint8_t>(marker), .range = {2, 5}}));
    EXPECT_EQ(segments.at(1).range.begin, 5U);
  }
}

TEST(JPEGLayout, takesEveryOtherMarkerByItsLength) {
  for (const int marker : {0x00, 0x02, 0xBF, 0xD8, 0xDC, 0xF0, 0xFE}) {
    const auto segments =
        segmentsOf(finished(JPEGBuilder().segment(static_cast<std::uint8_t>(marker), bytes({0xFF, 0xD9}))));
    EXPECT_EQ(segments.front(), (Segment{.marker = static_cast<std::uint8_t>(marker), .range = {2, 8}}));
  }
}

TEST(JPEGLayout, refusesAFileWithoutAScan) {
  expectMalformed(JPEGBuilder().endOfImage().build());
  expectMalformed(JPEGBuilder().jfif().frame(8, 8).endOfImage().build());
  expectMalformed(JPEGBuilder().frame(8, 8).endOfImage().scan().endOfImage().build());
}

// With a length behind it or without: nothing makes the marker a part of the header.
TEST(JPEGLayout, refusesAnEndOfTheImageBeforeAScan) {
  EXPECT_NO_THROW(parse(finished(JPEGBuilder().segment(0xDB, {}))));
  expectMalformed(finished(JPEGBuilder().segment(0xD9, {})).build());
  expectMalformed(finished(JPEGBuilder().raw(bytes({0xFF, 0xD9}))).build());
}

TEST(JPEGLayout, refusesASegmentWithoutTwoLengthBytes) {
  expectMalformed(JPEGBuilder().raw(bytes({0xFF, 0xDB})).build());
  expectMalformed(JPEGBuilder().raw(bytes({0xFF, 0xDB, 0})).build());
}

TEST(JPEGLayout, refusesALengthOfZeroOrOne) {
  expectMalformed(finished(JPEGBuilder().raw(bytes({0xFF, 0xDB, 0, 0}))).build());
  expectMalformed(finished(JPEGBuilder().raw(bytes({0xFF, 0xDB, 0, 1}))).build());
  EXPECT_NO_THROW(parse(finished(JPEGBuilder().raw(bytes({0xFF, 0xDB, 0, 2})))));
}

TEST(JPEGLayout, refusesASegmentThatLeavesTheData) {
  expectMalformed(JPEGBuilder().raw(bytes({0xFF, 0xDB, 0, 5, 1, 2})).build());
}

TEST(JPEGLayout, acceptsASegmentThatEndsWithTheDataAndRefusesWhatIsMissingBehindIt) {
  expectMalformed(JPEGBuilder().raw(bytes({0xFF, 0xDB, 0, 4, 1, 2})).build());
}

TEST(JPEGLayout, readsALengthBigEndian) {
  const auto segments = segmentsOf(finished(JPEGBuilder().segment(0xE5, Bytes(0x1234 - 2))));
  EXPECT_EQ(segments.front().range, (Range{2, 2 + 2 + 0x1234}));
}

TEST(JPEGLayout, refusesALengthOfTheScanHeaderThatLeavesTheData) {
  expectMalformed(JPEGBuilder().frame(8, 8).raw(bytes({0xFF, 0xDA, 0, 99, 0xFF, 0xD9})).build());
  expectMalformed(JPEGBuilder().frame(8, 8).raw(bytes({0xFF, 0xDA, 0, 1, 0xFF, 0xD9})).build());
}

TEST(JPEGLayout, doesNotTakeTheScanHeaderForTheScansEnd) {
  JPEGBuilder builder;
  builder.frame(8, 8).segment(0xDA, bytes({0xFF, 0xD9})).raw(bytes({1})).endOfImage();
  EXPECT_EQ(parse(builder).scanRange.end, builder.size());
}

TEST(JPEGLayout, looksAtNothingBehindTheEndOfTheImage) {
  JPEGBuilder builder = finished(JPEGBuilder().jfif());
  const std::size_t end = builder.size();
  builder.raw(bytes({0xFF, 0xE1, 0, 0, 7})).frame(1, 1);
  const JPEGLayout layout = parse(builder);
  EXPECT_EQ(layout.scanRange.end, end);
  EXPECT_EQ(layout.width, 640);
}

TEST(JPEGLayout, takesTheSizeFromEveryKindOfFrameHeader) {
  for (const int marker : {0xC0, 0xC1, 0xC2, 0xC3, 0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}) {
    const JPEGLayout layout =
        parse(JPEGBuilder().frame(320, 200, static_cast<std::uint8_t>(marker)).scan().endOfImage());
    EXPECT_EQ(layout.width, 320) << marker;
    EXPECT_EQ(layout.height, 200) << marker;
  }
}

TEST(JPEGLayout, neverTakesTheSizeFromTablesOrExtensions) {
  for (const int marker : {0xC4, 0xC8, 0xCC}) {
    const JPEGLayout layout =
        parse(JPEGBuilder().frame(320, 200, static_cast<std::uint8_t>(marker)).scan().endOfImage());
    EXPECT_EQ(layout.width, std::nullopt) << marker;
    EXPECT_EQ(layout.height, std::nullopt) << marker;
  }
}

TEST(JPEGLayout, takesTheSizeFromTheLastFrameHeader) {
  const JPEGLayout layout = parse(JPEGBuilder().frame(1, 2).frame(3, 4, 0xC2).scan().endOfImage());
  EXPECT_EQ(layout.width, 3);
  EXPECT_EQ(layout.height, 4);
}

TEST(JPEGLayout, takesNoSizeFromAFrameHeaderOfFewerThanFiveBytes) {
  const JPEGLayout layout =
      parse(JPEGBuilder().frame(640, 480).segment(0xC0, bytes({8, 0, 1, 0})).scan().endOfImage());
  EXPECT_EQ(layout.width, 640);
  EXPECT_EQ(layout.height, 480);
}

TEST(JPEGLayout, takesTheSizeFromAFrameHeaderOfFiveBytes) {
  const JPEGLayout layout =
      parse(JPEGBuilder().segment(0xC0, bytes({8, 0, 1, 0xFF, 0xFF})).scan().endOfImage());
  EXPECT_EQ(layout.width, 65535);
  EXPECT_EQ(layout.height, 1);
}

TEST(JPEGLayout, hasNoSizeWithoutAFrameHeader) {
  const JPEGLayout layout = parse(JPEGBuilder().jfif().scan().endOfImage());
  EXPECT_EQ(layout.width, std::nullopt);
  EXPECT_EQ(layout.height, std::nullopt);
}

TEST(JPEGLayout, keepsAHeightOfZeroAsItStands) {
  EXPECT_EQ(parse(JPEGBuilder().frame(8, 0).scan().endOfImage()).height, 0);
}

TEST(JPEGLayout, needsNoMemoryForMillionsOfSegments) {
  // In KiB; a list of the segments would take 60 MiB, and AddressSanitizer takes 6 MiB for itself.
  constexpr long bound = 16 * 1024;
  for (const Bytes& unit : {bytes({0xFF, 0xE1, 0, 2}), bytes({0xFF, 0xD0})}) {
    const Bytes data = finished(JPEGBuilder().raw(repeated(unit, 2'000'000))).build();
    inChildProcess(
        [&] { EXPECT_LT(peakMemoryGrowth([&] { JPEGLayout::parse(data).mediaFingerprint(data); }), bound); });
  }
}

// The scan

TEST(JPEGScan, endsBehindTheEndOfImageMarker) {
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({1, 2, 0xFF, 0xD9, 3}), 0), 4U);
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({0xFF, 0xD9}), 0), 2U);
}

TEST(JPEGScan, startsWhereItIsTold) {
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({0xFF, 0xD9, 1, 0xFF, 0xD9}), 2), 5U);
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({0xFF, 0xD9, 1, 0xFF, 0xD9}), 1), 5U);
}

TEST(JPEGScan, goesOnAtStuffedZerosAndRestartMarkers) {
  EXPECT_EQ(JPEGSegmentReader::scanEOI(
                bytes({0xFF, 0x00, 0xD9, 0xFF, 0x01, 0xFF, 0xD0, 0xFF, 0xD7, 0xFF, 0xD9}), 0),
            11U);
}

TEST(JPEGScan, skipsARunOfFillBytes) {
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({1, 0xFF, 0xFF, 0xFF, 0xD9}), 0), 5U);
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({1, 0xFF, 0xFF, 0x00, 0xFF, 0xFF, 0xD9}), 0), 7U);
}

TEST(JPEGScan, stepsOverASegmentBetweenScansByItsLength) {
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({1, 0xFF, 0xC4, 0, 6, 9, 0xFF, 0xD9, 9, 2, 0xFF, 0xD9}), 0),
            12U);
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({0xFF, 0x02, 0, 4, 0xFF, 0xD9, 0xFF, 0xD9}), 0), 8U);
}

TEST(JPEGScan, stepsOverALaterScanHeaderByItsLength) {
  EXPECT_EQ(JPEGSegmentReader::scanEOI(bytes({1, 0xFF, 0xDA, 0, 4, 0xFF, 0xD9, 7, 0xFF, 0xD9}), 0), 10U);
}

TEST(JPEGScan, refusesDataWithoutAnEnd) {
  expectMalformed([] { JPEGSegmentReader::scanEOI({}, 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({1, 2, 3}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({1, 2, 3}), 3); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({1, 2, 0xFF}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({1, 2, 0xFF, 0xFF}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({1, 0xFF, 0x00}), 0); });
}

TEST(JPEGScan, refusesABrokenLengthBetweenScans) {
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({0xFF, 0xC4}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({0xFF, 0xC4, 0}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({0xFF, 0xC4, 0, 0, 0xFF, 0xD9}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({0xFF, 0xC4, 0, 1, 0xFF, 0xD9}), 0); });
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({0xFF, 0xC4, 0, 5, 0xFF, 0xD9}), 0); });
}

TEST(JPEGScan, refusesASegmentBetweenScansThatEndsWithTheData) {
  expectMalformed([] { JPEGSegmentReader::scanEOI(bytes({0xFF, 0xC4, 0, 4, 0xFF, 0xD9}), 0); });
}

TEST(JPEGLayout, refusesATruncatedFileWhoseScanHasNoEnd) {
  expectMalformed(JPEGBuilder().jfif().frame(8, 8).scan().build());
  expectMalformed(JPEGBuilder().jfif().frame(8, 8).scan().raw(bytes({0xFF})).build());
}

TEST(JPEGLayout, takesLaterScansAndTheirTablesIntoTheScan) {
  JPEGBuilder builder;
  builder.frame(8, 8, 0xC2);
  const std::size_t start = builder.size();
  builder.scan().segment(0xC4, bytes({0xFF, 0xD9, 0xD9})).scan().scan().endOfImage();
  const JPEGLayout layout = parse(builder);
  EXPECT_EQ(layout.scanRange, (Range{start, builder.size()}));
  EXPECT_EQ(segmentsOf(builder).size(), 1U);
}

// Exif

TEST(JPEGLayout, readsTheFourFactsOfAnExifBlock) {
  for (const auto byteOrder : {TIFFBuilder::ByteOrder::little, TIFFBuilder::ByteOrder::big}) {
    const JPEGBuilder file = finished(JPEGBuilder().exif(TIFFBuilder(byteOrder)
                                                             .orientation(6)
                                                             .modifiedDate("modified")
                                                             .originalDate("original")
                                                             .digitizedDate("digitized")));
    EXPECT_TRUE(segmentsOf(file).front().isExif);
    EXPECT_EQ(parse(file).exifMetadata, (ExifMetadata{.orientation = std::uint16_t{6},
                                                      .modifiedDate = "modified",
                                                      .originalDate = "original",
                                                      .digitizedDate = "digitized"}));
  }
}

TEST(JPEGLayout, takesOnlyAPP1WithTheWholePrefixForExif) {
  const Bytes exif = bytes({'E', 'x', 'i', 'f', 0, 0}) + TIFFBuilder().orientation(3).build();
  const auto isExif = [](std::uint8_t marker, const Bytes& payload) {
    return segmentsOf(finished(JPEGBuilder().segment(marker, payload))).front().isExif;
  };
  EXPECT_TRUE(isExif(0xE1, exif));
  EXPECT_TRUE(isExif(0xE1, bytes({'E', 'x', 'i', 'f', 0, 0})));
  EXPECT_FALSE(isExif(0xE1, bytes({'E', 'x', 'i', 'f', 0}))) << "five bytes";
  EXPECT_FALSE(isExif(0xE1, bytes({'E', 'x', 'i', 'f', 0, 1})));
  EXPECT_FALSE(isExif(0xE1, bytes({'e', 'x', 'i', 'f', 0, 0})));
  EXPECT_FALSE(isExif(0xE2, exif));
  EXPECT_FALSE(isExif(0xE0, exif));
}

TEST(JPEGLayout, readsNothingFromAnExifBlockInAnotherSegment) {
  const Bytes exif = bytes({'E', 'x', 'i', 'f', 0, 0}) + TIFFBuilder().orientation(3).build();
  EXPECT_EQ(parse(finished(JPEGBuilder().segment(0xE2, exif))).exifMetadata, ExifMetadata{});
}

TEST(JPEGLayout, keepsTheFirstOfTwoOriginalDates) {
  const JPEGLayout layout = parse(finished(JPEGBuilder()
                                               .exif(TIFFBuilder().originalDate(firstDate))
                                               .exif(TIFFBuilder().originalDate(secondDate))));
  EXPECT_EQ(layout.exifMetadata.originalDate, firstDate);
}

TEST(JPEGLayout, takesFromTheSecondBlockWhatTheFirstLacks) {
  const JPEGLayout layout = parse(finished(JPEGBuilder()
                                               .exif(TIFFBuilder().originalDate(firstDate))
                                               .exif(TIFFBuilder()
                                                         .orientation(8)
                                                         .originalDate(secondDate)
                                                         .digitizedDate(secondDate)
                                                         .modifiedDate(secondDate))));
  EXPECT_EQ(layout.exifMetadata, (ExifMetadata{.orientation = std::uint16_t{8},
                                               .modifiedDate = std::string(secondDate),
                                               .originalDate = std::string(firstDate),
                                               .digitizedDate = std::string(secondDate)}));
}

TEST(JPEGLayout, letsAnEmptyDateOfTheFirstBlockStand) {
  const JPEGLayout layout = parse(finished(
      JPEGBuilder().exif(TIFFBuilder().originalDate("")).exif(TIFFBuilder().originalDate(secondDate))));
  EXPECT_EQ(layout.exifMetadata.originalDate, "");
}

TEST(JPEGLayout, marksABrokenExifBlockAndReadsTheRest) {
  Bytes broken = TIFFBuilder().orientation(6).build();
  broken[2] = std::byte{43};
  const JPEGBuilder file = finished(JPEGBuilder().exif(broken).exif(TIFFBuilder().orientation(3)));
  EXPECT_TRUE(segmentsOf(file).at(0).isExif);
  EXPECT_TRUE(segmentsOf(file).at(1).isExif);
  EXPECT_EQ(parse(file).exifMetadata.orientation, 3);
}

namespace {

ExifMetadata parseExif(const Bytes& tiffBlock) {
  const Bytes data = tiffBlock + bytes("behind");
  return ExifMetadata::parse(std::span(data).first(tiffBlock.size()));
}

}  // namespace

TEST(ExifBlock, needsAHeaderAndADirectory) {
  const Bytes header = bytes({'I', 'I', 42, 0, 8, 0, 0, 0});
  expectMalformed([&] { ExifMetadata::parse(std::span(header).first(7)); });
  expectMalformed([&] { ExifMetadata::parse(header); });
  EXPECT_EQ(parseExif(header + bytes({0, 0, 0, 0, 0, 0})), ExifMetadata{});
}

TEST(ExifBlock, needsTheMagic) {
  Bytes block = TIFFBuilder().orientation(6).build();
  EXPECT_EQ(parseExif(block).orientation, 6);
  block[0] = block[1] = std::byte{'M'};
  expectMalformed([&] { parseExif(block); });
}

TEST(ExifBlock, failsWithItsFirstDirectory) {
  Bytes block = TIFFBuilder().orientation(6).build();
  block[4] = std::byte{200};
  expectMalformed([&] { parseExif(block); });
  expectMalformed([&] { parseExif(TIFFBuilder().orientation(6).claimingEntries(257).build()); });
  expectMalformed([&] { parseExif(TIFFBuilder().orientation(6).claimingEntries(2).build()); });
}

TEST(ExifBlock, endsWithItsSegment) {
  // The text would be complete if the bytes after the segment counted.
  const Bytes block = TIFFBuilder().orientation(6).ascii(306, "0123456789").build();
  Bytes cut = block;
  cut.resize(block.size() - 2);
  EXPECT_EQ(parseExif(cut).modifiedDate, std::nullopt);
  EXPECT_EQ(parseExif(cut).orientation, 6);
}

TEST(ExifBlock, findsItsFirstDirectoryWhereverItStands) {
  const TIFFBuilder builder;
  const Bytes block = bytes("II") + builder.integer16(42) + builder.integer32(10) + bytes({0xAA, 0xAA}) +
                      builder.integer16(1) + builder.integer16(274) + builder.integer16(3) +
                      builder.integer32(1) + bytes({5, 0, 0, 0}) + builder.integer32(0);
  EXPECT_EQ(parseExif(block).orientation, 5);
}

TEST(ExifBlock, hasAnOrientationOnlyAsOneShortInteger) {
  EXPECT_EQ(parseExif(TIFFBuilder().entry(274, 4, 1, bytes({6, 0, 0, 0})).build()).orientation, std::nullopt);
  EXPECT_EQ(parseExif(TIFFBuilder().entry(274, 3, 2, bytes({6, 0, 6, 0})).build()).orientation, std::nullopt);
  EXPECT_EQ(parseExif(TIFFBuilder().entry(274, 3, 0, bytes({6, 0, 0, 0})).build()).orientation, std::nullopt);
  EXPECT_EQ(parseExif(TIFFBuilder().entry(274, 3, 1, bytes({9, 0, 7, 7})).build()).orientation, 9);
}

TEST(ExifBlock, takesTheFirstOrientationAlone) {
  EXPECT_EQ(parseExif(TIFFBuilder().orientation(2).orientation(3).build()).orientation, 2);
  EXPECT_EQ(parseExif(TIFFBuilder().entry(274, 4, 1, bytes({2, 0, 0, 0})).orientation(3).build()).orientation,
            std::nullopt);
}

TEST(ExifBlock, losesOnlyTheModifiedDateWhenThatLeavesTheBlock) {
  const auto metadata = parseExif(TIFFBuilder()
                                      .orientation(6)
                                      .entry(306, 2, 20, bytes({0xFF, 0xFF, 0, 0}))
                                      .originalDate(firstDate)
                                      .build());
  EXPECT_EQ(metadata,
            (ExifMetadata{.orientation = std::uint16_t{6}, .originalDate = std::string(firstDate)}));
}

TEST(ExifBlock, losesOnlyTheOriginalDateWhenThatLeavesTheBlock) {
  const auto metadata = parseExif(TIFFBuilder()
                                      .modifiedDate(firstDate)
                                      .exifEntry(36867, 2, 20, bytes({0xFF, 0xFF, 0, 0}))
                                      .digitizedDate(secondDate)
                                      .build());
  EXPECT_EQ(metadata,
            (ExifMetadata{.modifiedDate = std::string(firstDate), .digitizedDate = std::string(secondDate)}));
}

TEST(ExifBlock, keepsWhatTheFirstDirectoryGaveWhenTheExifDirectoryIsBroken) {
  const ExifMetadata expected{.orientation = std::uint16_t{6}, .modifiedDate = std::string(firstDate)};
  const auto withPointer = [](std::uint16_t type, std::uint32_t count, const Bytes& value) {
    return parseExif(
        TIFFBuilder().orientation(6).modifiedDate(firstDate).entry(34665, type, count, value).build());
  };
  EXPECT_EQ(withPointer(4, 1, bytes({0xFF, 0xFF, 0xFF, 0xFF})), expected) << "outside";
  EXPECT_EQ(withPointer(4, 1, bytes({2, 0, 0, 0})), expected) << "42 entries do not fit";
  EXPECT_EQ(withPointer(4, 2, bytes({8, 0, 0, 0})), expected) << "two pointers";
  EXPECT_EQ(withPointer(3, 1, bytes({8, 0, 0, 0})), expected) << "a short integer";
  EXPECT_EQ(withPointer(13, 1, bytes({8, 0, 0, 0})), expected) << "type IFD";
}

TEST(ExifBlock, followsOnlyTheFirstExifPointer) {
  const auto metadata =
      parseExif(TIFFBuilder().entry(34665, 3, 1, bytes({8, 0, 0, 0})).originalDate(firstDate).build());
  EXPECT_EQ(metadata.originalDate, std::nullopt);
}

TEST(ExifBlock, looksForEachFactInItsOwnDirectory) {
  const auto metadata = parseExif(TIFFBuilder()
                                      .ascii(36867, "original")
                                      .ascii(36868, "digitized")
                                      .exifAscii(306, "modified")
                                      .exifEntry(274, 3, 1, bytes({6, 0}))
                                      .build());
  EXPECT_EQ(metadata, ExifMetadata{});
}

TEST(ExifBlock, acceptsAnExifPointerThatLoops) {
  const auto metadata =
      parseExif(TIFFBuilder().ascii(36867, "2026").entry(34665, 4, 1, bytes({8, 0, 0, 0})).build());
  EXPECT_EQ(metadata.originalDate, "2026");
}

TEST(ExifBlock, followsAnExifPointerOnlyAsOneLongInteger) {
  const auto originalDateBehind = [](std::uint16_t type, std::uint32_t count) {
    // The pointer leads to the directory that it is in, which has the date.
    const Bytes toFirstDirectory = bytes({8, 0, 0, 0});
    return parseExif(TIFFBuilder().ascii(36867, "2026").entry(34665, type, count, toFirstDirectory).build())
        .originalDate;
  };
  EXPECT_EQ(originalDateBehind(4, 1), "2026");
  EXPECT_EQ(originalDateBehind(4, 0), std::nullopt);
  EXPECT_EQ(originalDateBehind(4, 2), std::nullopt);
  EXPECT_EQ(originalDateBehind(3, 1), std::nullopt) << "a short integer";
  EXPECT_EQ(originalDateBehind(13, 1), std::nullopt) << "type IFD";
}

TEST(ExifBlock, doesNotFollowTheChainToANextDirectory) {
  const TIFFBuilder builder;
  const Bytes next = TIFFBuilder().orientation(6).build();
  Bytes block = TIFFBuilder().modifiedDate("2026").build();
  const std::size_t pointer = 8 + 2 + 12;
  block[pointer] = static_cast<std::byte>(block.size());
  block = block + std::span(next).subspan(8);
  EXPECT_EQ(parseExif(block).modifiedDate, "2026");
  EXPECT_EQ(parseExif(block).orientation, std::nullopt);
}

// Replacing

TEST(ReplacingExif, putsTheNewSegmentBehindTheAPP0SegmentsAndDropsEveryExif) {
  const Bytes data = finished(JPEGBuilder()
                                  .jfif()
                                  .segment(0xE0, bytes("JFXX"))
                                  .xmp()
                                  .exif(TIFFBuilder().orientation(6))
                                  .segment(0xE0, bytes("late"))
                                  .comment("comment")
                                  .exif(TIFFBuilder()))
                         .build();
  const Bytes expected = finished(JPEGBuilder()
                                      .jfif()
                                      .segment(0xE0, bytes("JFXX"))
                                      .raw(newSegment)
                                      .xmp()
                                      .segment(0xE0, bytes("late"))
                                      .comment("comment"))
                             .build();
  EXPECT_EQ(replacedIn(data), expected);
}

TEST(ReplacingExif, putsTheNewSegmentFirstWithoutAPP0) {
  EXPECT_EQ(replacedIn(finished(JPEGBuilder()).build()), finished(JPEGBuilder().raw(newSegment)).build());
  EXPECT_EQ(replacedIn(finished(JPEGBuilder().exif(TIFFBuilder()).jfif()).build()),
            finished(JPEGBuilder().raw(newSegment).jfif()).build());
}

TEST(ReplacingExif, appendsTheNewSegmentWhereOnlyAPP0SegmentsStand) {
  EXPECT_EQ(replacedIn(JPEGBuilder().jfif().jfif().scan().endOfImage().build()),
            JPEGBuilder().jfif().jfif().raw(newSegment).scan().endOfImage().build());
}

TEST(ReplacingExif, appendsTheNewSegmentWhereNoSegmentStands) {
  EXPECT_EQ(replacedIn(JPEGBuilder().scan().endOfImage().build()),
            JPEGBuilder().raw(newSegment).scan().endOfImage().build());
}

TEST(ReplacingExif, dropsABrokenExifBlockToo) {
  EXPECT_EQ(replacedIn(finished(JPEGBuilder().exif(bytes("xx"))).build()),
            finished(JPEGBuilder().raw(newSegment)).build());
}

TEST(ReplacingExif, keepsBytesBehindTheEndOfTheImage) {
  const Bytes trailing = bytes("trailing") + bytes({0xFF, 0xE1});
  EXPECT_EQ(replacedIn(finished(JPEGBuilder()).build() + trailing),
            finished(JPEGBuilder().raw(newSegment)).build() + trailing);
}

TEST(ReplacingExif, keepsFillBytesWithTheirSegmentsAndDropsThoseOfAnExifBlock) {
  const auto fill = bytes({0xFF, 0xFF});
  EXPECT_EQ(replacedIn(finished(JPEGBuilder().raw(fill).exif(TIFFBuilder()).raw(fill).comment("c")).build()),
            finished(JPEGBuilder().raw(newSegment).raw(fill).comment("c")).build());
}

TEST(ReplacingExif, keepsStandaloneMarkers) {
  EXPECT_EQ(replacedIn(finished(JPEGBuilder().raw(bytes({0xFF, 0x01}))).build()),
            finished(JPEGBuilder().raw(newSegment).raw(bytes({0xFF, 0x01}))).build());
}

// Fingerprint

TEST(MediaFingerprint, isTheHashOfThePictureBearingBytes) {
  JPEGBuilder picture;
  picture.quantisationTable().frame(640, 480).huffmanTable().scan().endOfImage();
  Bytes expected = picture.build();
  expected.erase(expected.begin(), expected.begin() + 2);

  const Bytes data = JPEGBuilder()
                         .jfif()
                         .quantisationTable()
                         .exif(TIFFBuilder())
                         .frame(640, 480)
                         .comment("comment")
                         .huffmanTable()
                         .segment(0xEF, bytes("last application segment"))
                         .scan()
                         .endOfImage()
                         .build();
  EXPECT_EQ(fingerprintOf(data), "jpeg-v2:" + FileFingerprinter::sha256(expected));
}

TEST(MediaFingerprint, ignoresEveryApplicationSegmentAndComments) {
  const std::string plain = fingerprintOf(finished(JPEGBuilder()).build());
  for (int marker = 0xE0; marker <= 0xEF; ++marker) {
    EXPECT_EQ(
        fingerprintOf(finished(JPEGBuilder().segment(static_cast<std::uint8_t>(marker), bytes("x"))).build()),
        plain);
  }
  EXPECT_EQ(fingerprintOf(finished(JPEGBuilder().comment("x")).build()), plain);
}

TEST(MediaFingerprint, countsEveryOtherSegment) {
  const std::string plain = fingerprintOf(finished(JPEGBuilder()).build());
  for (const int marker : {0x00, 0xC4, 0xDB, 0xDD, 0xDF, 0xF0, 0xFD}) {
    EXPECT_NE(
        fingerprintOf(finished(JPEGBuilder().segment(static_cast<std::uint8_t>(marker), bytes("x"))).build()),
        plain)
        << marker;
  }
  EXPECT_NE(fingerprintOf(finished(JPEGBuilder().raw(bytes({0xFF, 0x01}))).build()), plain);
}

TEST(MediaFingerprint, countsFillBytesInsideARange) {
  EXPECT_NE(fingerprintOf(finished(JPEGBuilder().raw(bytes({0xFF})).quantisationTable()).build()),
            fingerprintOf(finished(JPEGBuilder().quantisationTable()).build()));
  EXPECT_EQ(fingerprintOf(finished(JPEGBuilder().raw(bytes({0xFF})).comment("c")).build()),
            fingerprintOf(finished(JPEGBuilder().comment("c")).build()));
}

TEST(MediaFingerprint, ignoresBytesBehindTheEndOfTheImage) {
  const Bytes data = finished(JPEGBuilder()).build();
  EXPECT_EQ(fingerprintOf(data + bytes("trailing")), fingerprintOf(data));
}

TEST(MediaFingerprint, changesWithTablesFrameAndScan) {
  const auto with = [](std::uint8_t table, std::uint16_t width, int entropy) {
    return fingerprintOf(JPEGBuilder()
                             .segment(0xDB, Bytes(65, std::byte{table}))
                             .frame(width, 480)
                             .scan(bytes({entropy}))
                             .endOfImage()
                             .build());
  };
  const std::string fingerprint = with(1, 640, 3);
  EXPECT_EQ(with(1, 640, 3), fingerprint);
  EXPECT_NE(with(2, 640, 3), fingerprint);
  EXPECT_NE(with(1, 641, 3), fingerprint);
  EXPECT_NE(with(1, 640, 4), fingerprint);
}

TEST(MediaFingerprint, survivesTheReplacementOfExif) {
  for (const NamedJPEG& file : namedJPEGs()) {
    SCOPED_TRACE(file.name);
    std::string before;
    try {
      before = fingerprintOf(file.bytes);
    } catch (const MediaProcessingError&) {
      continue;
    }
    EXPECT_EQ(fingerprintOf(replacedIn(file.bytes)), before);
  }
}

TEST(JPEGLayout, refusesEveryNamedFileWithABrokenStructureAndNoOther) {
  const std::vector<std::string> broken{
      "noScan",   "noEndOfImage", "lengthOfOne", "lengthBeyondEnd", "garbageBetweenSegments",
      "notAJPEG", "empty"};
  for (const NamedJPEG& file : namedJPEGs()) {
    SCOPED_TRACE(file.name);
    if (std::ranges::find(broken, file.name) != broken.end()) {
      expectMalformed(file.bytes);
    } else {
      EXPECT_NO_THROW(JPEGLayout::parse(file.bytes));
    }
  }
}

TEST(JPEGLayout, findsEveryTruncationOfASoundFileMalformed) {
  const Bytes data = namedJPEGs().front().bytes;
  for (std::size_t size = 0; size < data.size(); ++size) {
    expectMalformed([&] { JPEGLayout::parse(std::span(data).first(size)); });
  }
}

}  // namespace tolvander::tests
