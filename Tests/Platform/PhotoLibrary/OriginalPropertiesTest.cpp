#include "Platform/Linux/PhotoLibrary/OriginalProperties.h"

#include <gtest/gtest.h>

#include <map>
#include <string_view>

#include "Samples/JPEGBuilder.h"
#include "Samples/PictureFiles.h"
#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {
namespace {

using app::PhotosMediaType;
using platform::linux_::OriginalProperties;
using platform::linux_::originalProperties;

OriginalProperties propertiesOf(const Bytes& content, PhotosMediaType type) {
  const TemporaryFolder folder;
  writeFile(folder / "original", {reinterpret_cast<const char*>(content.data()), content.size()});
  return originalProperties(folder / "original", type, TimeZone::named("Europe/Berlin").value());
}

TEST(OriginalProperties, takesSizeAndDateOfAPictureInTheZoneOfTheUser) {
  const Bytes picture = JPEGBuilder()
                            .exif(TIFFBuilder().originalDate("2026:07:01 12:00:00"))
                            .quantisationTable()
                            .huffmanTable()
                            .frame(640, 480)
                            .scan()
                            .endOfImage()
                            .build();
  const OriginalProperties expected{.pixelWidth = 640,
                                    .pixelHeight = 480,
                                    .duration = 0,
                                    .creationDate = dateFromExifText("2026:07:01 10:00:00", TimeZone::utc())};
  EXPECT_EQ(propertiesOf(picture, PhotosMediaType::image), expected);
}

TEST(OriginalProperties, takesSizeAndDateOfAJPEGThatFewProgramsCanDecode) {
  const std::map<std::string_view, int> widths{
      {"lossless", 1440}, {"twelveBits", 1440}, {"arithmetic", 1440}, {"largest", 65535}};
  std::size_t found = 0;
  for (const NamedJPEG& file : namedJPEGs()) {
    if (!widths.contains(file.name)) {
      continue;
    }
    ++found;
    const OriginalProperties properties = propertiesOf(file.bytes, PhotosMediaType::image);
    EXPECT_EQ(properties.pixelWidth, widths.at(file.name)) << file.name;
    EXPECT_EQ(properties.creationDate, dateFromExifText("2026:11:20 09:30:00", TimeZone::utc())) << file.name;
  }
  EXPECT_EQ(found, widths.size());
}

TEST(OriginalProperties, hasNoDateWhereThePictureHasNone) {
  const OriginalProperties properties = propertiesOf(pngWith(pictureData + pngEnd), PhotosMediaType::image);
  EXPECT_EQ(properties.pixelWidth, 640);
  EXPECT_EQ(properties.pixelHeight, 480);
  EXPECT_FALSE(properties.creationDate);
}

TEST(OriginalProperties, takesSizeAndDurationOfAFilm) {
  const TemporaryFolder folder;
  const TestClip clip;
  writeClip(folder / "original", clip);
  const OriginalProperties film =
      originalProperties(folder / "original", PhotosMediaType::video, TimeZone::utc());
  const Movie movie(folder / "original");
  EXPECT_GT(film.duration, 0);
  EXPECT_EQ(film.duration, movie.duration());
  EXPECT_EQ(film.pixelWidth, movie.tracks(MediaType::video).at(0).naturalWidth);
  EXPECT_EQ(film.pixelHeight, movie.tracks(MediaType::video).at(0).naturalHeight);
}

TEST(OriginalProperties, areEmptyForWhatCannotBeUnderstood) {
  EXPECT_EQ(propertiesOf(bytes("no picture"), PhotosMediaType::image), OriginalProperties{});
  EXPECT_EQ(propertiesOf(bytes("no film"), PhotosMediaType::video), OriginalProperties{});
  EXPECT_EQ(propertiesOf({}, PhotosMediaType::image), OriginalProperties{});
  EXPECT_EQ(propertiesOf({}, PhotosMediaType::video), OriginalProperties{});
}

TEST(OriginalProperties, cannotBeHadOfAPictureThatIsNotThere) {
  EXPECT_THROW(originalProperties(FileURL("/nowhere"), PhotosMediaType::image, TimeZone::utc()), PosixError);
}

}  // namespace
}  // namespace tolvander::tests
