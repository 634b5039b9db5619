#include "TolvanderCore/Platform/ImageProperties.h"

#include <gtest/gtest.h>

#include <chrono>

#include "Samples/JPEGBuilder.h"
#include "Samples/PictureFiles.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/PeakMemory.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/Picture/JPEGLayout.h"

namespace tolvander::tests {

namespace {

constexpr std::string_view date = "2026:11:20 10:30:00";
constexpr std::string_view otherDate = "2025:01:02 03:04:05";

ImageProperties sizeOnly(int width, int height) { return {.pixelWidth = width, .pixelHeight = height}; }

std::string text(const Bytes& data) {
  std::string result;
  for (const std::byte byte : data) {
    result += std::to_integer<char>(byte);
  }
  return result;
}

Bytes tiffWithDate(std::string_view original = date) { return TIFFBuilder().originalDate(original).build(); }

ImageProperties fullProperties(int width, int height) {
  return {.pixelWidth = width, .pixelHeight = height, .exifDateTimeOriginal = std::string(date)};
}

// A picture of 1440 by 1080 with a date, whose frame header has this marker and names these bits a sample.
Bytes jpegOfFrame(int marker, int precision) {
  return JPEGBuilder()
      .exif(TIFFBuilder().originalDate(date))
      .frame(1440, 1080, static_cast<std::uint8_t>(marker), precision)
      .scan()
      .endOfImage()
      .build();
}

std::optional<JPEGLayout> layoutOf(const Bytes& data) {
  try {
    return JPEGLayout::parse(data);
  } catch (const MediaProcessingError&) {
    return std::nullopt;
  }
}

Bytes realHEIC(const TemporaryFolder& folder, const std::string& exifTool = {}) {
  const std::string frame(static_cast<std::size_t>(128 * 96 * 3 / 2), '\x60');
  writeFile(folder / "picture.y4m", "YUV4MPEG2 W128 H96 F1:1 Ip C420\nFRAME\n" + frame);
  const std::string file = (folder / "picture.heic").path();
  const ToolResult encoded = runTool({"heif-enc", (folder / "picture.y4m").path(), "-o", file});
  EXPECT_EQ(encoded.status, 0) << encoded.errors;
  if (!exifTool.empty()) {
    const ToolResult written = runTool({exifTool, "-q", "-overwrite_original",
                                        "-DateTimeOriginal=" + std::string(date), "-Orientation#=6", file});
    EXPECT_EQ(written.status, 0) << written.errors;
  }
  return bytes(readFile(FileURL(file)));
}

}  // namespace

TEST(ImageProperties, areAbsentForOtherKindsOfFiles) {
  for (const std::string_view content :
       {"", "x", "RIFF....AVI LIST", "GIF89a\1\0\1\0", "II*\0\0\0\0\0", "%PDF-1.7", "BM",
        "\0\0\0\x18"
        "ftypisom\0\0\0\0isomiso2",
        "\0\0\0\x14"
        "ftypqt  \0\0\0\0qt  "}) {
    EXPECT_EQ(imageProperties(bytes(content)), std::nullopt) << content;
  }
}

TEST(ImageProperties, areAbsentForAFileThatIsItsSignatureAlone) {
  EXPECT_EQ(imageProperties(bytes({0xFF, 0xD8, 0xFF})), std::nullopt);
  EXPECT_EQ(imageProperties(pngSignature), std::nullopt);
  EXPECT_EQ(imageProperties(bytes({0, 0, 0, 12, 'f', 't', 'y', 'p', 'h', 'e', 'i', 'c'})), std::nullopt);
}

TEST(ImageProperties, printNothingAndEndWhereverAFileIsCut) {
  testing::internal::CaptureStderr();
  const Bytes exif = bytes({0, 0, 0, 0}) + tiffWithDate();
  for (const Bytes& file :
       {namedJPEGs().front().bytes, pngWith(chunk("eXIf", tiffWithDate()) + pictureData + pngEnd),
        heicWithExif(exif)}) {
    ASSERT_TRUE(imageProperties(file).has_value());
    for (std::size_t size = 0; size < file.size(); ++size) {
      imageProperties(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// JPEG

TEST(ImagePropertiesOfJPEG, areSizeAndDate) {
  const Bytes data = JPEGBuilder()
                         .jfif()
                         .exif(TIFFBuilder().originalDate(date))
                         .frame(1440, 1080)
                         .scan()
                         .endOfImage()
                         .build();
  EXPECT_EQ(
      imageProperties(data),
      (ImageProperties{.pixelWidth = 1440, .pixelHeight = 1080, .exifDateTimeOriginal = std::string(date)}));
}

TEST(ImagePropertiesOfJPEG, areNotTurnedByTheOrientation) {
  const Bytes data =
      JPEGBuilder().exif(TIFFBuilder().orientation(6)).frame(1440, 1080).scan().endOfImage().build();
  EXPECT_EQ(imageProperties(data), sizeOnly(1440, 1080));
}

TEST(ImagePropertiesOfJPEG, haveNoInventedDate) {
  const Bytes data = JPEGBuilder()
                         .exif(TIFFBuilder().modifiedDate(date).digitizedDate(date))
                         .frame(8, 8)
                         .scan()
                         .endOfImage()
                         .build();
  EXPECT_EQ(imageProperties(data), sizeOnly(8, 8));
}

TEST(ImagePropertiesOfJPEG, giveTheDateAsStoredUpToItsNUL) {
  const auto dateOf = [](std::string_view content) {
    return imageProperties(JPEGBuilder()
                               .exif(TIFFBuilder().exifAscii(36867, content))
                               .frame(8, 8)
                               .scan()
                               .endOfImage()
                               .build())
        ->exifDateTimeOriginal;
  };
  EXPECT_EQ(dateOf("2026:11:20:10:30:00"), "2026:11:20:10:30:00");
  EXPECT_EQ(dateOf(std::string_view("  not a date\0more", 17)), "  not a date");
  EXPECT_EQ(dateOf("0000:00:00 00:00:00"), "0000:00:00 00:00:00");
}

TEST(ImagePropertiesOfJPEG, takeTheDateFromTheFirstBlockThatHasOne) {
  const Bytes data = JPEGBuilder()
                         .exif(bytes("broken"))
                         .exif(TIFFBuilder().modifiedDate(otherDate))
                         .exif(TIFFBuilder().originalDate(date))
                         .exif(TIFFBuilder().originalDate(otherDate))
                         .frame(8, 8)
                         .scan()
                         .endOfImage()
                         .build();
  EXPECT_EQ(imageProperties(data)->exifDateTimeOriginal, date);
}

TEST(ImagePropertiesOfJPEG, survivePictureDataThatIsMissing) {
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(640, 480).scan().build()), sizeOnly(640, 480));
}

TEST(ImagePropertiesOfJPEG, areAbsentWithoutASoundFrameHeader) {
  EXPECT_EQ(imageProperties(JPEGBuilder().jfif().scan().endOfImage().build()), std::nullopt);
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(0, 8).scan().endOfImage().build()), std::nullopt);
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(8, 0).scan().endOfImage().build()), std::nullopt);
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(8, 8).endOfImage().build()), std::nullopt);
}

TEST(ImagePropertiesOfJPEG, allocateNothingForAClaimedSize) {
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(65500, 65500).scan().endOfImage().build()),
            sizeOnly(65500, 65500));
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(65535, 65535).scan().endOfImage().build()),
            sizeOnly(65535, 65535));
}

TEST(ImagePropertiesOfJPEG, areThereForEveryKindOfFrame) {
  // Sequential and progressive, lossless, differential and arithmetic.
  for (const int marker : {0xC0, 0xC1, 0xC2, 0xC3, 0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}) {
    EXPECT_EQ(imageProperties(jpegOfFrame(marker, 8)), fullProperties(1440, 1080)) << marker;
  }
}

TEST(ImagePropertiesOfJPEG, areThereForEveryNumberOfBits) {
  for (const int bits : {2, 8, 12, 16}) {
    EXPECT_EQ(imageProperties(jpegOfFrame(0xC1, bits)), fullProperties(1440, 1080)) << bits;
    EXPECT_EQ(imageProperties(jpegOfFrame(0xC3, bits)), fullProperties(1440, 1080)) << bits;
  }
}

TEST(ImagePropertiesOfJPEG, areThoseThatTheRepairSees) {
  for (const NamedJPEG& file : namedJPEGs()) {
    const auto layout = layoutOf(file.bytes);
    if (!layout || layout->width.value_or(0) < 1 || layout->height.value_or(0) < 1) {
      continue;
    }
    const auto properties = imageProperties(file.bytes);
    ASSERT_TRUE(properties) << file.name;
    EXPECT_EQ(properties->pixelWidth, layout->width) << file.name;
    EXPECT_EQ(properties->pixelHeight, layout->height) << file.name;
    EXPECT_EQ(properties->exifDateTimeOriginal, layout->exifMetadata.originalDate) << file.name;
  }
}

TEST(ImagePropertiesOfJPEG, takeTheSizeFromTheLastFrameHeaderBeforeTheScan) {
  EXPECT_EQ(imageProperties(JPEGBuilder().frame(1, 2).frame(3, 4).scan().frame(5, 6).endOfImage().build()),
            sizeOnly(3, 4));
}

TEST(ImagePropertiesOfJPEG, surviveGarbageBetweenSegments) {
  const Bytes data = JPEGBuilder()
                         .jfif()
                         .raw(bytes({0, 1, 2, 3}))
                         .exif(TIFFBuilder().originalDate(date))
                         .raw(bytes({0}))
                         .frame(1440, 1080)
                         .scan()
                         .endOfImage()
                         .build();
  EXPECT_EQ(imageProperties(data), fullProperties(1440, 1080));
}

TEST(ImagePropertiesOfJPEG, areReadFromMillionsOfSegmentsInFewMebibytesOfMemory) {
  for (const Bytes& unit : {bytes({0xFF, 0xE1, 0, 2}), bytes({0xFF, 0xD0}), bytes({0xFF})}) {
    const Bytes data =
        JPEGBuilder().raw(repeated(unit, 2'000'000)).frame(640, 480).scan().endOfImage().build();
    inChildProcess([&] {
      EXPECT_LT(peakMemoryGrowth([&] { EXPECT_EQ(imageProperties(data), sizeOnly(640, 480)); }), 4 * 1024);
    });
  }
}

TEST(ImagePropertiesOfJPEG, readEveryNamedFileQuietly) {
  testing::internal::CaptureStderr();
  for (const NamedJPEG& file : namedJPEGs()) {
    imageProperties(file.bytes);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ImagePropertiesOfJPEG, lookIntoNoMoreThanFourExifBlocks) {
  const auto dateBehind = [](int blocks) {
    JPEGBuilder builder;
    for (int count = 0; count < blocks; ++count) {
      builder.exif(TIFFBuilder().orientation(1));
    }
    return imageProperties(
               builder.exif(TIFFBuilder().originalDate(date)).frame(8, 8).scan().endOfImage().build())
        ->exifDateTimeOriginal;
  };
  EXPECT_EQ(dateBehind(3), date);
  EXPECT_EQ(dateBehind(4), std::nullopt);
}

// PNG

TEST(ImagePropertiesOfPNG, areSizeAndDate) {
  EXPECT_EQ(
      imageProperties(pngWith(chunk("eXIf", tiffWithDate()) + pictureData + pngEnd)),
      (ImageProperties{.pixelWidth = 640, .pixelHeight = 480, .exifDateTimeOriginal = std::string(date)}));
}

TEST(ImagePropertiesOfPNG, findTheDateBehindThePictureData) {
  EXPECT_EQ(imageProperties(pngWith(pictureData + pictureData + chunk("eXIf", tiffWithDate()) + pngEnd))
                ->exifDateTimeOriginal,
            date);
}

TEST(ImagePropertiesOfPNG, haveNoDateWithoutASoundExifChunk) {
  EXPECT_EQ(imageProperties(pngWith(pictureData + pngEnd)), sizeOnly(640, 480));
  EXPECT_EQ(imageProperties(pngWith(chunk("eXIf", {}) + pngEnd)), sizeOnly(640, 480));
  EXPECT_EQ(imageProperties(pngWith(chunk("eXIf", bytes("broken")) + pngEnd)), sizeOnly(640, 480));
  EXPECT_EQ(imageProperties(pngWith(pngEnd + chunk("eXIf", tiffWithDate()))), sizeOnly(640, 480));
  Bytes damaged = pngWith(chunk("eXIf", tiffWithDate()) + pngEnd);
  damaged[damaged.size() - pngEnd.size() - 10] ^= std::byte{1};
  EXPECT_EQ(imageProperties(damaged), sizeOnly(640, 480));
}

TEST(ImagePropertiesOfPNG, takeTheDateFromAnExifChunkOfAtMost16MiB) {
  const auto dateWith = [](std::size_t size) {
    Bytes exif = tiffWithDate();
    exif.resize(size);
    return imageProperties(pngWith(chunk("eXIf", exif) + pngEnd))->exifDateTimeOriginal;
  };
  EXPECT_EQ(dateWith(16 << 20), date);
  EXPECT_EQ(dateWith((16 << 20) + 1), std::nullopt);
}

TEST(ImagePropertiesOfPNG, areAbsentWithoutASoundHeader) {
  EXPECT_EQ(imageProperties(pngSignature + pictureData + pngHeader(8, 8) + pngEnd), std::nullopt);
  EXPECT_EQ(imageProperties(pngSignature + pngHeader(0, 8) + pngEnd), std::nullopt);
  EXPECT_EQ(imageProperties(pngSignature + pngHeader(8, 0) + pngEnd), std::nullopt);
  EXPECT_EQ(imageProperties(pngSignature + pngHeader(0x80000000U, 8) + pngEnd), std::nullopt);
  EXPECT_EQ(imageProperties(pngSignature + pngHeader(8, 8, 16, 3) + pngEnd), std::nullopt)
      << "16-bit palette";
  EXPECT_EQ(imageProperties(pngSignature + pngHeader(8, 8, 8, 5) + pngEnd), std::nullopt) << "colour type 5";
  Bytes damaged = pngWith(pngEnd);
  damaged[pngSignature.size() + 11] ^= std::byte{1};
  EXPECT_EQ(imageProperties(damaged), std::nullopt);
}

TEST(ImagePropertiesOfPNG, acceptEveryCodingOfPixels) {
  for (const auto& [colourType, bitDepths] : std::vector<std::pair<int, std::vector<int>>>{
           {0, {1, 2, 4, 8, 16}}, {2, {8, 16}}, {3, {1, 2, 4, 8}}, {4, {8, 16}}, {6, {8, 16}}}) {
    for (const int bitDepth : bitDepths) {
      EXPECT_EQ(imageProperties(pngSignature + pngHeader(3, 2, bitDepth, colourType) + pngEnd),
                sizeOnly(3, 2))
          << colourType << " " << bitDepth;
    }
  }
}

TEST(ImagePropertiesOfPNG, allocateNothingForAClaimedSizeOrLength) {
  EXPECT_EQ(imageProperties(pngSignature + pngHeader(0x7FFFFFFF, 0x7FFFFFFF) + pngEnd),
            sizeOnly(0x7FFFFFFF, 0x7FFFFFFF));
  EXPECT_EQ(imageProperties(pngWith(bigEndian32(0xFFFFFFFFU) + bytes("eXIf"))), sizeOnly(640, 480));
  EXPECT_EQ(imageProperties(pngWith(bigEndian32(0x7FFFFFFFU) + bytes("zTXt") + Bytes(100))),
            sizeOnly(640, 480));
}

TEST(ImagePropertiesOfPNG, inflateNoTextOrProfile) {
  // A megabyte of repeated deflate blocks, which would become a gigabyte.
  const Bytes bomb = bytes("Comment") + bytes({0, 0, 0x78, 0xDA}) + Bytes(1'000'000);
  const Bytes data =
      pngWith(chunk("zTXt", bomb) + chunk("iCCP", bomb) + chunk("eXIf", tiffWithDate()) + pngEnd);
  EXPECT_EQ(imageProperties(data)->exifDateTimeOriginal, date);
}

TEST(ImagePropertiesOfPNG, readAFileOfOtherTools) {
  if (!toolExists("ffmpeg") || !toolExists("exiftool")) {
    GTEST_SKIP() << "needs ffmpeg and exiftool";
  }
  const TemporaryFolder folder;
  const std::string file = (folder / "picture.png").path();
  const ToolResult made =
      runTool({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=320x200", "-frames:v", "1", file});
  ASSERT_EQ(made.status, 0) << made.errors;
  EXPECT_EQ(imageProperties(bytes(readFile(FileURL(file)))), sizeOnly(320, 200));
  const ToolResult written =
      runTool({"exiftool", "-q", "-overwrite_original", "-DateTimeOriginal=" + std::string(date), file});
  ASSERT_EQ(written.status, 0) << written.errors;
  EXPECT_EQ(
      imageProperties(bytes(readFile(FileURL(file)))),
      (ImageProperties{.pixelWidth = 320, .pixelHeight = 200, .exifDateTimeOriginal = std::string(date)}));
}

// HEIC

TEST(ImagePropertiesOfHEIC, areSizeAndDate) {
  const ImageProperties expected{
      .pixelWidth = 1440, .pixelHeight = 1080, .exifDateTimeOriginal = std::string(date)};
  EXPECT_EQ(imageProperties(heicWithExif(bytes({0, 0, 0, 0}) + tiffWithDate())), expected);
  EXPECT_EQ(imageProperties(heicWithExif(bytes({0, 0, 0, 6, 'E', 'x', 'i', 'f', 0, 0}) + tiffWithDate())),
            expected);
}

TEST(ImagePropertiesOfHEIC, haveNoDateWhereTheExifItemIsBroken) {
  for (const Bytes& item :
       {Bytes{}, bytes({0}), bytes({0, 0, 0, 0}), bytes({0xFF, 0xFF, 0xFF, 0xFF}),
        bytes({0xFF, 0xFF, 0xFF, 0xFF}) + tiffWithDate(), bytes({0, 0, 0, 0}) + bytes("broken")}) {
    const auto properties = imageProperties(heicWithExif(item));
    EXPECT_TRUE(!properties || *properties == sizeOnly(1440, 1080)) << text(item);
  }
  EXPECT_EQ(imageProperties(heicWith({})), sizeOnly(1440, 1080));
}

TEST(ImagePropertiesOfHEIC, readARealFile) {
  if (!toolExists("heif-enc")) {
    GTEST_SKIP() << "needs heif-enc";
  }
  const TemporaryFolder folder;
  EXPECT_EQ(imageProperties(realHEIC(folder)), sizeOnly(128, 96));
}

TEST(ImagePropertiesOfHEIC, readTheExifOfARealFileAndAreNotTurnedByIt) {
  if (!toolExists("heif-enc") || !toolExists("exiftool")) {
    GTEST_SKIP() << "needs heif-enc and exiftool";
  }
  const TemporaryFolder folder;
  EXPECT_EQ(
      imageProperties(realHEIC(folder, "exiftool")),
      (ImageProperties{.pixelWidth = 128, .pixelHeight = 96, .exifDateTimeOriginal = std::string(date)}));
}

TEST(ImagePropertiesOfHEIC, areAbsentWhereAnItemLiesOutsideTheFile) {
  EXPECT_EQ(imageProperties(heicWith({{{0xFFFFFF00U, 0xFF}}})), std::nullopt);
  EXPECT_EQ(imageProperties(heicWith({{{0, 0xFFFFFFFFU}}})), std::nullopt);
}

TEST(ImagePropertiesOfHEIC, areAbsentWhereABoxClaimsToBeHuge) {
  const Bytes type = box("ftyp", bytes("heic") + Bytes(4) + bytes("mif1heic"));
  for (const std::string_view name : {"meta", "mdat", "free", "abcd", "moov"}) {
    EXPECT_EQ(imageProperties(type + bigEndian32(0x7FFFFFF0) + bytes(name) + Bytes(64)), std::nullopt)
        << name;
    EXPECT_EQ(imageProperties(type + bigEndian32(1) + bytes(name) + bigEndian32(0x7FFFFFFF) +
                              bigEndian32(0xFFFFFFFF) + Bytes(64)),
              std::nullopt)
        << name;
  }
}

TEST(ImagePropertiesOfHEIC, needNoMoreMemoryThanTheFileJustifies) {
  // Sixty items of 32 pieces, each the whole megabyte: two gigabytes for a reader that gathers them.
  constexpr std::size_t megabyte = 1'048'576;
  const std::vector<Extent> pieces(32, Extent{0, megabyte});
  const Bytes data = heicWith(std::vector<std::vector<Extent>>(60, pieces)) + Bytes(megabyte);
  inChildProcess([&] {
    EXPECT_LT(peakMemoryGrowth([&] { EXPECT_EQ(imageProperties(data), std::nullopt); }), 64 * 1024);
  });
}

TEST(ImagePropertiesOfHEIC, areAbsentWhereThousandsOfItemsAreClaimed) {
  // The library's time grows with the square of their number: 20 seconds for a megabyte.
  const auto withItems = [](std::size_t count) {
    return imageProperties(heicWith(std::vector<std::vector<Extent>>(count, {{0, 8}})));
  };
  EXPECT_EQ(withItems(100), sizeOnly(1440, 1080));
  EXPECT_EQ(withItems(10'000), std::nullopt);
}

TEST(ImagePropertiesOfHEIC, areReadFromAsManyTilesAs200MegapixelsHaveAndAbsentForTenThousand) {
  // libheif 1.19 itself allows a thousand items.
  EXPECT_EQ(imageProperties(heicWith({}, 800)), sizeOnly(1440, 1080));
  EXPECT_EQ(imageProperties(heicWith({}, 10'000)), std::nullopt);
}

TEST(ImagePropertiesOfHEIC, areSoonAbsentForThousandsOfItemsWithoutBytes) {
  // Where nothing ends the reading, the library takes 20 seconds to find that the items have no bytes.
  const std::size_t count = 19'000;
  Bytes items;
  Bytes associations;
  Bytes references;
  const auto append = [](Bytes& list, const Bytes& entry) {
    list.insert(list.end(), entry.begin(), entry.end());
  };
  for (std::size_t identifier = 1; identifier <= count; ++identifier) {
    append(items, fullBox("infe", 2,
                          bigEndian16(identifier) + bigEndian16(0) +
                              bytes(identifier == 1 ? "hvc1" : "av01") + bytes({0})));
    append(associations, bigEndian16(identifier) + bytes({1, 1}));
    if (identifier > 1) {
      append(references, box("thmb", bigEndian16(identifier) + bigEndian16(1) + bigEndian16(1)));
    }
  }
  const Bytes size = fullBox("ispe", 0, bigEndian32(1440) + bigEndian32(1080));
  const Bytes properties = box("ipco", size) + fullBox("ipma", 0, bigEndian32(count) + associations);
  const Bytes data =
      box("ftyp", bytes("heic") + Bytes(4) + bytes("mif1heic")) +
      fullBox("meta", 0,
              fullBox("pitm", 0, bigEndian16(1)) + fullBox("iinf", 0, bigEndian16(count) + items) +
                  fullBox("iref", 0, references) + box("iprp", properties) +
                  fullBox("iloc", 0, bytes({0x44, 0}) + bigEndian16(0)));

  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(imageProperties(data), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

}  // namespace tolvander::tests
