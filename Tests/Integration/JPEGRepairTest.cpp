// Other programs' views of a repaired file.

#include <gtest/gtest.h>

#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Platform/ImageProperties.h"

namespace tolvander::tests {

namespace {

constexpr int width = 97;
constexpr int height = 61;

std::string text(const Bytes& data) {
  std::string result;
  for (const std::byte byte : data) {
    result += std::to_integer<char>(byte);
  }
  return result;
}

// A picture in which no two pixels beside each other are alike.
std::string portablePixmap() {
  std::string content = "P6\n97 61\n255\n";
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      content +=
          {static_cast<char>(x * 5 ^ y * 3), static_cast<char>(x * y), static_cast<char>(x * 2 + y * 7)};
    }
  }
  return content;
}

// A JPEG of the picture, with what a camera may leave in front of it.
Bytes cameraFile(const TemporaryFolder& folder, const std::vector<std::string>& encoderOptions) {
  writeFile(folder / "picture.ppm", portablePixmap());
  std::vector<std::string> command{"cjpeg", "-outfile", (folder / "encoded.jpg").path()};
  command.insert(command.end(), encoderOptions.begin(), encoderOptions.end());
  command.push_back((folder / "picture.ppm").path());
  const ToolResult encoded = runTool(command);
  EXPECT_EQ(encoded.status, 0) << encoded.errors;
  const Bytes whole = bytes(readFile(folder / "encoded.jpg"));
  constexpr std::ptrdiff_t startOfImage = 2;
  const Bytes rest(whole.begin() + startOfImage, whole.end());
  return JPEGBuilder()
             .exif(TIFFBuilder()
                       .ascii(271, std::string("SOMEBODY ELSE\0", 14))
                       .orientation(6)
                       .originalDate("2026:11:20:10:30:00"))
             .exif(bytes("a second, broken block"))
             .raw(rest)
             .build() +
         bytes("trailing bytes");
}

MediaProcessingPlan repair(const Bytes& data) {
  return CharmeraMediaProcessor::plan(data, "JPG", true, std::nullopt, TimeZone::utc());
}

std::string pixelsOf(const FileURL& file) {
  const ToolResult decoded = runTool({"djpeg", "-ppm", file.path()});
  EXPECT_EQ(decoded.status, 0) << decoded.errors;
  EXPECT_EQ(decoded.errors, "");
  return decoded.output;
}

}  // namespace

TEST(RepairedJPEG, showsEveryValueOfItsExifToAnotherReader) {
  if (!toolExists("exiftool") || !toolExists("cjpeg")) {
    GTEST_SKIP() << "needs exiftool and cjpeg";
  }
  const TemporaryFolder folder;
  writeFile(folder / "repaired.jpg", text(*repair(cameraFile(folder, {})).outputData));
  const ToolResult read =
      runTool({"exiftool", "-warning", "-a", "-G1", "-s", "-n", "-t", "-IFD0:all", "-ExifIFD:all",
               "-IFD1:all", "-GPS:all", "-File:ExifByteOrder", "-File:ImageWidth", "-File:ImageHeight",
               (folder / "repaired.jpg").path()});
  ASSERT_EQ(read.status, 0) << read.errors;
  EXPECT_EQ(read.output,
            "IFD0\tMake\tKODAK\n"
            "IFD0\tModel\tCharmera\n"
            "IFD0\tOrientation\t6\n"
            "IFD0\tModifyDate\t2026:11:20 10:30:00\n"
            "ExifIFD\tFNumber\t2.4\n"
            "ExifIFD\tDateTimeOriginal\t2026:11:20 10:30:00\n"
            "ExifIFD\tCreateDate\t2026:11:20 10:30:00\n"
            "ExifIFD\tExifImageWidth\t97\n"
            "ExifIFD\tExifImageHeight\t61\n"
            "ExifIFD\tFocalLengthIn35mmFormat\t35\n"
            "ExifIFD\tLensModel\t35mm f/2.4\n"
            "File\tExifByteOrder\tII\n"
            "File\tImageWidth\t97\n"
            "File\tImageHeight\t61\n");
}

TEST(RepairedJPEG, hasTheSamePixelsAsBefore) {
  if (!toolExists("djpeg") || !toolExists("cjpeg")) {
    GTEST_SKIP() << "needs djpeg and cjpeg";
  }
  for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{
           {}, {"-progressive"}, {"-restart", "1"}, {"-grayscale"}, {"-arithmetic"}}) {
    const TemporaryFolder folder;
    const Bytes original = cameraFile(folder, options);
    writeFile(folder / "original.jpg", text(original));
    writeFile(folder / "repaired.jpg", text(*repair(original).outputData));
    const std::string pixels = pixelsOf(folder / "original.jpg");
    EXPECT_GT(pixels.size(), static_cast<std::size_t>(width * height));
    EXPECT_TRUE(pixelsOf(folder / "repaired.jpg") == pixels) << testing::PrintToString(options);
  }
}

TEST(RepairedJPEG, givesItsSizeAndDateToThePlatformsImageReader) {
  if (!toolExists("cjpeg")) {
    GTEST_SKIP() << "needs cjpeg";
  }
  const TemporaryFolder folder;
  EXPECT_EQ(imageProperties(*repair(cameraFile(folder, {})).outputData),
            (ImageProperties{
                .pixelWidth = width, .pixelHeight = height, .exifDateTimeOriginal = "2026:11:20 10:30:00"}));
}

}  // namespace tolvander::tests
