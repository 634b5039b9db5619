#include "TolvanderCore/Video/VideoExportProof.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"

namespace tolvander::tests {

namespace {

VideoMediaMetadata metadata() {
  return {.pixelWidth = 64,
          .pixelHeight = 48,
          .duration = 0,
          .frameRate = 30,
          .hasAudio = true,
          .captureDate = std::nullopt};
}

Date date(std::int64_t seconds) { return Date(std::chrono::seconds(seconds)); }

}  // namespace

TEST(VideoExportProof, toleratesOneFrameAndAtLeastATenthOfASecond) {
  EXPECT_EQ(VideoExportProof::durationTolerance(5), 0.2);
  EXPECT_EQ(VideoExportProof::durationTolerance(30), 0.1);
  EXPECT_EQ(VideoExportProof::durationTolerance(10), 0.1);
  EXPECT_EQ(VideoExportProof::durationTolerance(0.5), 2);
}

TEST(VideoExportProof, allowsADurationThatDiffersByTheToleranceItself) {
  VideoMediaMetadata exported = metadata();
  exported.duration = 0.1;
  EXPECT_TRUE(VideoExportProof::metadataAgrees(metadata(), exported));
  exported.duration = std::nextafter(0.1, 1);
  EXPECT_FALSE(VideoExportProof::metadataAgrees(metadata(), exported));
  EXPECT_FALSE(VideoExportProof::metadataAgrees(exported, metadata()));
  VideoMediaMetadata slow = metadata();
  slow.frameRate = 5;
  exported = slow;
  exported.duration = 0.2;
  EXPECT_TRUE(VideoExportProof::metadataAgrees(slow, exported));
}

TEST(VideoExportProof, takesTheToleranceFromTheSourcesFrameRate) {
  VideoMediaMetadata source = metadata();
  source.frameRate = 5;
  VideoMediaMetadata exported = source;
  exported.frameRate = 5.0625;
  exported.duration = 0.19921875;  // within 1/5, beyond 1/5.0625
  EXPECT_TRUE(VideoExportProof::metadataAgrees(source, exported));
  EXPECT_FALSE(VideoExportProof::metadataAgrees(exported, source));
}

TEST(VideoExportProof, comparesEveryOtherFactOfTheMetadata) {
  EXPECT_TRUE(VideoExportProof::metadataAgrees(metadata(), metadata()));
  VideoMediaMetadata exported = metadata();
  exported.pixelWidth = 65;
  EXPECT_FALSE(VideoExportProof::metadataAgrees(metadata(), exported));
  exported = metadata();
  exported.pixelHeight = 47;
  EXPECT_FALSE(VideoExportProof::metadataAgrees(metadata(), exported));
  exported = metadata();
  exported.hasAudio = false;
  EXPECT_FALSE(VideoExportProof::metadataAgrees(metadata(), exported));
  exported = metadata();
  exported.frameRate = 30.0625;
  EXPECT_TRUE(VideoExportProof::metadataAgrees(metadata(), exported));
  exported.frameRate = 30.125;
  EXPECT_FALSE(VideoExportProof::metadataAgrees(metadata(), exported));
  exported.frameRate = 29.875;
  EXPECT_FALSE(VideoExportProof::metadataAgrees(metadata(), exported));
}

TEST(VideoExportProof, refusesATimeRangeThatDiffersByExactlyATenthOfASecond) {
  const MovieTrack source;
  MovieTrack exported;
  exported.duration = std::nextafter(0.1, 0);
  exported.start = std::nextafter(0.1, 0);
  EXPECT_TRUE(VideoExportProof::timeRangeAgrees(source, exported));
  exported.duration = 0.1;
  EXPECT_FALSE(VideoExportProof::timeRangeAgrees(source, exported));
  EXPECT_FALSE(VideoExportProof::timeRangeAgrees(exported, source));
  exported.duration = 0;
  exported.start = 0.1;
  EXPECT_FALSE(VideoExportProof::timeRangeAgrees(source, exported));
  EXPECT_FALSE(VideoExportProof::timeRangeAgrees(exported, source));
}

TEST(VideoExportProof, asksForADateLessThanASecondAway) {
  EXPECT_TRUE(VideoExportProof::captureDateAgrees(std::nullopt, std::nullopt));
  EXPECT_TRUE(VideoExportProof::captureDateAgrees(std::nullopt, date(5)));
  EXPECT_FALSE(VideoExportProof::captureDateAgrees(date(5), std::nullopt));
  EXPECT_TRUE(VideoExportProof::captureDateAgrees(date(5), date(5)));
  EXPECT_TRUE(VideoExportProof::captureDateAgrees(date(5) + std::chrono::milliseconds(999), date(5)));
  EXPECT_FALSE(VideoExportProof::captureDateAgrees(date(6), date(5)));
  EXPECT_FALSE(VideoExportProof::captureDateAgrees(date(5), date(6)));
  EXPECT_FALSE(VideoExportProof::captureDateAgrees(Date::min(), Date::max()));
}

TEST(VideoExportProof, provesNothingOfATrackThatCanNoLongerBeRead) {
  const TemporaryFolder folder;
  const FileURL source = folder / "source.avi";
  const FileURL exported = folder / "exported.mov";
  for (const FileURL& lost : {source, exported}) {
    writeClip(source, {});
    std::filesystem::remove(exported.path());
    platformMovieExporter()->exportMovie(
        Movie(source), {.destination = exported, .creationDate = std::nullopt, .fileLengthLimit = 1'000'000},
        {});
    const Movie sourceMovie(source);
    const Movie exportedMovie(exported);
    EXPECT_EQ(VideoExportProof::proveTracks(MediaType::video, sourceMovie, exportedMovie, {}).size(), 1);
    truncateFile(lost, std::filesystem::file_size(lost.path()) - 5000);
    try {
      VideoExportProof::proveTracks(MediaType::video, sourceMovie, exportedMovie, {});
      ADD_FAILURE() << lost.path();
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::invalidExport) << error.what();
    }
  }
}

}  // namespace tolvander::tests
