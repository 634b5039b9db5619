#include "TolvanderCore/VideoMediaMetadata.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {

namespace {

class VideoMediaMetadataTest : public testing::Test {
 protected:
  VideoMediaMetadata load(const TestClip& clip) const {
    writeClip(url_, clip);
    return VideoMediaMetadata::load(url_);
  }

  void expectInvalid(const TestClip& clip) const {
    writeClip(url_, clip);
    expectInvalidFile();
  }

  void expectInvalidFile() const {
    try {
      VideoMediaMetadata::load(url_);
      ADD_FAILURE() << "the file was accepted";
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::invalidVideo);
    }
  }

  static TestClip clipOfFrames(unsigned width, unsigned height) {
    return {.frames = 2, .frameWidth = width, .frameHeight = height};
  }

  static TestClip clipAt(std::uint32_t rate, std::uint32_t scale, unsigned frames) {
    TestClip clip;
    clip.header = {.rate = rate, .scale = scale};
    clip.frames = frames;
    return clip;
  }

  // The date that a movie with this text in its metadata has.
  std::optional<Date> captureDateOf(const std::string& text) const {
    writeClip(url_, {});
    const FileURL movie = folder_ / "dated.mov";
    platformMovieExporter()->exportMovie(
        Movie(url_), {.destination = movie, .creationDate = text, .fileLengthLimit = 1'000'000}, {});
    const auto date = VideoMediaMetadata::load(movie).captureDate;
    std::filesystem::remove(movie.path());
    return date;
  }

  TemporaryFolder folder_;
  FileURL url_ = folder_ / "clip.avi";
};

}  // namespace

TEST_F(VideoMediaMetadataTest, givesTheFactsOfAVideo) {
  EXPECT_EQ(load({}), (VideoMediaMetadata{.pixelWidth = 64,
                                          .pixelHeight = 48,
                                          .duration = 1,
                                          .frameRate = 30,
                                          .hasAudio = true,
                                          .captureDate = std::nullopt}));
  EXPECT_FALSE(load({.header = {}}).hasAudio);
}

TEST_F(VideoMediaMetadataTest, acceptsTheLargestPictureAtTheHighestRate) {
  TestClip clip = clipAt(240, 1, 100);
  clip.frameWidth = 8192;
  clip.frameHeight = 8192;
  const VideoMediaMetadata metadata = load(clip);
  EXPECT_EQ(metadata.pixelWidth, 8192);
  EXPECT_EQ(metadata.pixelHeight, 8192);
  EXPECT_EQ(metadata.frameRate, 240);
}

TEST_F(VideoMediaMetadataTest, refusesALargerPicture) {
  expectInvalid(clipOfFrames(8193, 16));
  expectInvalid(clipOfFrames(16, 8193));
}

TEST_F(VideoMediaMetadataTest, refusesAHigherRate) { expectInvalid(clipAt(241, 1, 100)); }

TEST_F(VideoMediaMetadataTest, acceptsTwoHoursAndNothingLonger) {
  EXPECT_EQ(load(clipAt(1, 3600, 2)).duration, 7200);
  expectInvalid(clipAt(1, 3601, 2));
}

TEST_F(VideoMediaMetadataTest, gainsNothingFromALyingHeader) {
  TestClip clip = clipOfFrames(8193, 16);
  clip.header.width = 64;
  clip.header.height = 48;
  expectInvalid(clip);

  TestClip longClip = clipAt(1, 3601, 2);
  longClip.header.claimedFrames = 1;
  expectInvalid(longClip);

  TestClip shortClip;
  shortClip.header.claimedFrames = 0xFFFFFFFF;
  EXPECT_EQ(load(shortClip).duration, 1);
}

TEST_F(VideoMediaMetadataTest, refusesASoundTrackThatLastsTooLong) {
  TestClip clip;
  clip.header.audio = {AVIAudioFormat::pcm8(1, 1)};
  clip.frames = 1;
  clip.audioChunkBytes = 7200;
  EXPECT_EQ(load(clip).duration, 7200);
  clip.audioChunkBytes = 7201;
  expectInvalid(clip);
}

TEST_F(VideoMediaMetadataTest, refusesAFileWithoutVideo) {
  expectInvalid({.frames = 0});
  expectInvalid({.frames = 2, .repeatedFrames = {0, 1}});
  TestClip soundOnly;
  soundOnly.header.videoStreams = 0;
  expectInvalid(soundOnly);
}

TEST_F(VideoMediaMetadataTest, refusesWhatCannotBeRead) {
  expectInvalidFile();
  for (const std::string content : {"", "#EXTM3U\nclip.avi\n", "RIFF\x04\0\0\0AVI "}) {
    writeFile(url_, content);
    expectInvalidFile();
  }
}

TEST_F(VideoMediaMetadataTest, isStoppedByCancellationAndNotCalledInvalid) {
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(VideoMediaMetadata::load(url_, source.token()), CancellationError);
}

TEST_F(VideoMediaMetadataTest, readsTheDateOfAMovie) {
  const auto expected = dateFromISO8601("2026-11-15T19:13:17Z");
  EXPECT_EQ(captureDateOf("2026-11-15T19:13:17Z"), expected);
  EXPECT_EQ(captureDateOf("2026-11-15T20:13:17+0100"), expected);
}

TEST_F(VideoMediaMetadataTest, readsADateWithFractionalSecondsOnTheSecondAttempt) {
  EXPECT_EQ(captureDateOf("2026-11-15T19:13:17.5Z"),
            *dateFromISO8601("2026-11-15T19:13:17Z") + std::chrono::milliseconds(500));
}

TEST_F(VideoMediaMetadataTest, hasNoDateWhereTheTextIsNone) { EXPECT_FALSE(captureDateOf("last Sunday")); }

}  // namespace tolvander::tests
