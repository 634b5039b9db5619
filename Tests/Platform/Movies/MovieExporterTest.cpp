#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "Samples/AVIWriter.h"
#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {

namespace {

constexpr std::int64_t noLimit = 8'589'934'592;

struct Samples {
  std::int64_t count = 0;
  std::string bytes;
  friend bool operator==(const Samples&, const Samples&) = default;
};

Samples samplesOf(const Movie& movie, MediaType type, std::size_t index) {
  Samples samples;
  movie.readSamples(type, index, [&](const MovieSampleBuffer& buffer) {
    samples.count += buffer.sampleCount;
    samples.bytes.append(reinterpret_cast<const char*>(buffer.bytes.data()), buffer.bytes.size());
  });
  return samples;
}

class MovieExporterTest : public testing::Test {
 protected:
  void exportSource(std::optional<std::string> date = "2026-11-15T19:13:17Z", std::int64_t limit = noLimit,
                    const CancellationToken& token = {}) const {
    const Movie source(source_);
    ASSERT_TRUE(exporter_->canExport(source));
    exporter_->exportMovie(
        source, {.destination = destination_, .creationDate = std::move(date), .fileLengthLimit = limit},
        token);
  }

  // The export holds the source's tracks, equal in every fact and every byte.
  void expectEqualTracks() const {
    const Movie source(source_);
    const Movie exported(destination_);
    for (const MediaType type : {MediaType::video, MediaType::audio}) {
      const auto& expected = source.tracks(type);
      const auto& actual = exported.tracks(type);
      ASSERT_EQ(actual.size(), expected.size());
      for (std::size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(actual[index].naturalWidth, expected[index].naturalWidth);
        EXPECT_EQ(actual[index].naturalHeight, expected[index].naturalHeight);
        EXPECT_NEAR(actual[index].nominalFrameRate, expected[index].nominalFrameRate, 0.001);
        EXPECT_NEAR(actual[index].start, expected[index].start, 0.001);
        EXPECT_NEAR(actual[index].duration, expected[index].duration, 0.001);
        EXPECT_EQ(actual[index].codecs, expected[index].codecs);
        EXPECT_TRUE(samplesOf(exported, type, index) == samplesOf(source, type, index));
      }
    }
  }

  void expectFaithfulExport(const TestClip& clip) {
    std::filesystem::remove(destination_.path());
    writeClip(source_, clip);
    exportSource();
    expectEqualTracks();
  }

  static std::string outputOf(const std::vector<std::string>& command) {
    const ToolResult result = runTool(command);
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
  }

  void makeSource(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"ffmpeg", "-nostdin", "-v", "error", "-y"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    command.push_back(source_.path());
    outputOf(command);
  }

  TemporaryFolder folder_;
  FileURL source_ = folder_ / "source.avi";
  FileURL destination_ = folder_ / "export.mov";
  std::shared_ptr<const MovieExporter> exporter_ = platformMovieExporter();
};

std::vector<AVIAudioFormat> everyAudioFormat() {
  return {AVIAudioFormat::pcm8(),           AVIAudioFormat::pcm8(2),     AVIAudioFormat::pcm16(),
          AVIAudioFormat::pcm16(2),         AVIAudioFormat::muLaw(),     AVIAudioFormat::muLaw(2),
          AVIAudioFormat::imaADPCM(),       AVIAudioFormat::imaADPCM(2), AVIAudioFormat::microsoftADPCM(),
          AVIAudioFormat::microsoftADPCM(2)};
}

}  // namespace

TEST_F(MovieExporterTest, keepsEverySampleOfEveryAudioEncoding) {
  for (const AVIAudioFormat& format : everyAudioFormat()) {
    for (const std::size_t blocks : {std::size_t{1}, std::size_t{3}}) {
      const std::size_t bytes = format.samplesPerBlock > 1 ? blocks * format.blockAlign : 600 * blocks;
      SCOPED_TRACE(testing::Message() << format.formatTag << " " << format.channels << " " << bytes);
      expectFaithfulExport({.header = {.audio = {format}}, .audioChunkBytes = bytes});
    }
  }
}

TEST_F(MovieExporterTest, keepsBlocksOfSoundThatStraddleChunks) {
  expectFaithfulExport(
      {.header = {.audio = {AVIAudioFormat::imaADPCM()}}, .frames = 64, .audioChunkBytes = 100});
}

TEST_F(MovieExporterTest, keepsSoundInChunksOfOddLength) {
  expectFaithfulExport({.audioChunkBytes = 533});
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16(2)}}, .audioChunkBytes = 1});
}

TEST_F(MovieExporterTest, keepsSoundWhoseContainerTimesAreWrong) {
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .claimedAudioScale = 7}});
  expectFaithfulExport(
      {.header = {.audio = {AVIAudioFormat::imaADPCM()}, .claimedAudioScale = 1}, .audioChunkBytes = 512});
}

TEST_F(MovieExporterTest, keepsTheTimesOfRepeatedFrames) {
  for (const std::set<unsigned>& repeated :
       {std::set<unsigned>{0, 1}, {12}, {28, 29}, {0, 1, 12, 13, 28, 29}}) {
    expectFaithfulExport({.repeatedFrames = repeated});
    EXPECT_EQ(Movie(destination_).duration(), 1);
  }
}

TEST_F(MovieExporterTest, writesWhenEachFrameIsShown) {
  writeClip(source_, {.header = {.rate = 10}, .frames = 6, .repeatedFrames = {0, 2, 5}});
  exportSource();
  for (const FileURL& url : {source_, destination_}) {
    std::vector<MovieSampleTime> times;
    const auto note = [&](const MovieSampleBuffer& sample) { times.push_back(sample.time.value()); };
    Movie(url).readSamples(MediaType::video, 0, note);
    EXPECT_EQ(times, (std::vector<MovieSampleTime>{{0, 0.3}, {0.3, 0.1}, {0.4, 0.2}})) << url.path();
  }
}

TEST_F(MovieExporterTest, carriesTheFrameRateOfAMovieThatRepeatsEveryFrame) {
  std::set<unsigned> everySecond;
  for (unsigned frame = 1; frame < 30; frame += 2) {
    everySecond.insert(frame);
  }
  expectFaithfulExport({.header = {.rate = 30'000, .scale = 1'001}, .repeatedFrames = everySecond});
  EXPECT_EQ(Movie(destination_).tracks(MediaType::video).front().nominalFrameRate, 30'000.0 / 1'001);
  EXPECT_EQ(samplesOf(Movie(destination_), MediaType::video, 0).count, 15);
}

TEST_F(MovieExporterTest, carriesTheFrameRatesOfTwoTracksAndOfAnExportedMovie) {
  expectFaithfulExport({.header = {.rate = 24, .videoStreams = 2}, .repeatedFrames = {3, 4, 5}});
  source_ = destination_;
  destination_ = folder_ / "again.mov";
  exportSource();
  EXPECT_EQ(Movie(destination_).tracks(MediaType::video).back().nominalFrameRate, 24);
  expectEqualTracks();
}

TEST_F(MovieExporterTest, takesTheRateOfTheSamplesWhereTheMoviesRateIsDamaged) {
  writeClip(source_, {.repeatedFrames = {3}});
  exportSource();
  const std::string movie = readFile(destination_);
  const std::size_t place = movie.rfind("30/1");
  ASSERT_NE(place, std::string::npos);
  for (const std::string damage : {"30/0", "3x/1", "30 1", " 0/1", "-3/1", "////", "\xFF/11"}) {
    writeFile(destination_, std::string(movie).replace(place, 4, damage));
    EXPECT_DOUBLE_EQ(Movie(destination_).tracks(MediaType::video).front().nominalFrameRate, 29) << damage;
  }
}

TEST_F(MovieExporterTest, keepsASingleFrame) { expectFaithfulExport({.frames = 1}); }

TEST_F(MovieExporterTest, keepsUnusualFrameRates) {
  for (const auto& [rate, scale] :
       {std::pair(30'000U, 1'001U), {1'000'000U, 33'333U}, {1U, 2U}, {240U, 1U}}) {
    expectFaithfulExport({.header = {.rate = rate, .scale = scale, .audio = {AVIAudioFormat::pcm16()}}});
  }
}

TEST_F(MovieExporterTest, keepsMoviesWithDefectiveIndexesAndSizes) {
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = AVIIndex::none}});
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = AVIIndex::half}});
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .claimedRIFFSize = 0}});
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .claimedFrames = 100'000}});
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .chunksPerRIFF = 16}});
}

TEST_F(MovieExporterTest, keepsMoviesWithoutSound) { expectFaithfulExport({.header = {}}); }

TEST_F(MovieExporterTest, keepsTwoTracksOfEachKind) {
  expectFaithfulExport(
      {.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm8(), AVIAudioFormat::muLaw()}}});
}

TEST_F(MovieExporterTest, leavesOutTextTracks) {
  expectFaithfulExport({.header = {.audio = {AVIAudioFormat::pcm16()}, .textStream = true}});
}

TEST_F(MovieExporterTest, writesThePictureSizeOfTheFrames) {
  expectFaithfulExport({.header = {.width = 640, .height = 100}, .frameWidth = 16, .frameHeight = 16});
}

TEST_F(MovieExporterTest, writesTheSameBytesEachTime) {
  writeClip(source_, {});
  exportSource();
  const std::string first = readFile(destination_);
  std::filesystem::remove(destination_.path());
  exportSource();
  EXPECT_TRUE(readFile(destination_) == first);
}

TEST_F(MovieExporterTest, carriesTheCreationDateOfEveryCentury) {
  writeClip(source_, {});
  for (const std::string text : {"2026-11-15T19:13:17Z", "1969-12-31T23:59:59Z", "1901-01-01T00:00:00Z",
                                 "2040-02-06T06:28:16Z", "2107-12-31T23:59:58Z", "2262-04-11T23:47:16Z"}) {
    exportSource(text);
    EXPECT_EQ(Movie(destination_).creationDate(), (MovieCreationDate{.date = std::nullopt, .text = text}));
    std::filesystem::remove(destination_.path());
  }
}

TEST_F(MovieExporterTest, writesNoDateWhereThereIsNone) {
  writeClip(source_, {});
  exportSource(std::nullopt);
  EXPECT_FALSE(Movie(destination_).creationDate());
}

TEST_F(MovieExporterTest, failsBeyondTheLengthLimit) {
  writeClip(source_, {});
  exportSource();
  const auto length = static_cast<std::int64_t>(std::filesystem::file_size(destination_.path()));
  for (const std::int64_t shortage : {std::int64_t{1}, length / 2, length}) {
    std::filesystem::remove(destination_.path());
    EXPECT_THROW(exportSource("2026-11-15T19:13:17Z", length - shortage), MovieError);
    EXPECT_LE(std::filesystem::file_size(destination_.path()), length - shortage);
  }
  std::filesystem::remove(destination_.path());
  exportSource("2026-11-15T19:13:17Z", length);
  expectEqualTracks();
}

TEST_F(MovieExporterTest, replacesNoFile) {
  writeClip(source_, {});
  const auto expectTaken = [&] {
    try {
      exportSource();
      ADD_FAILURE();
    } catch (const MovieError& error) {
      EXPECT_EQ(error.kind(), MovieError::Case::destinationExists);
    }
  };
  writeFile(destination_, "precious");
  expectTaken();
  EXPECT_EQ(readFile(destination_), "precious");
  std::filesystem::remove(destination_.path());
  std::filesystem::create_symlink((folder_ / "nowhere").path(), destination_.path());
  expectTaken();
  EXPECT_TRUE(std::filesystem::is_symlink(destination_.path()));
}

TEST_F(MovieExporterTest, failsWhereTheFolderIsMissing) {
  writeClip(source_, {});
  destination_ = folder_ / "missing/export.mov";
  EXPECT_THROW(exportSource(), MovieError);
}

TEST_F(MovieExporterTest, doesNothingWhenCancelledBefore) {
  writeClip(source_, {});
  CancellationSource cancellation;
  cancellation.cancel();
  EXPECT_THROW(exportSource("2026-11-15T19:13:17Z", noLimit, cancellation.token()), CancellationError);
  EXPECT_FALSE(std::filesystem::exists(destination_.path()));
}

TEST_F(MovieExporterTest, cannotExportEncodingsThatQuickTimeStoresInAnotherWay) {
  TestClip clip;
  clip.header.videoCodec = "H264";
  writeClip(source_, clip);
  EXPECT_FALSE(exporter_->canExport(Movie(source_)));
}

TEST_F(MovieExporterTest, carriesRotationAndBothSoundTracksOfAnMPEG4AndLeavesOutSubtitles) {
  const FileURL captions = folder_ / "captions.srt";
  writeFile(captions, "1\n00:00:00,000 --> 00:00:01,000\nHello\n");
  source_ = folder_ / "plain.mp4";
  if (!toolExists("ffmpeg")) {
    GTEST_SKIP() << "ffmpeg is not installed";
  }
  makeSource({"-f",   "lavfi",
              "-i",   "testsrc2=size=64x48:rate=25:duration=1",
              "-f",   "lavfi",
              "-i",   "sine=duration=1",
              "-f",   "lavfi",
              "-i",   "sine=frequency=880:duration=1",
              "-i",   captions.path(),
              "-map", "0",
              "-map", "1",
              "-map", "2",
              "-map", "3",
              "-c:v", "mpeg4",
              "-bf",  "2",
              "-c:a", "aac",
              "-c:s", "mov_text",
              "-f",   "mp4"});
  const FileURL unrotated = source_;
  source_ = folder_ / "rotated.mp4";
  // FFmpeg 7 no longer has the old way to rotate a movie, FFmpeg 5 not yet the new one.
  if (outputOf({"ffmpeg", "-hide_banner", "-h", "full"}).find("-display_rotation") != std::string::npos) {
    makeSource({"-display_rotation", "90", "-i", unrotated.path(), "-map", "0", "-c", "copy"});
  } else {
    makeSource({"-i", unrotated.path(), "-map", "0", "-c", "copy", "-metadata:s:v", "rotate=90"});
  }

  const Movie source(source_);
  ASSERT_EQ(source.tracks(MediaType::video).size(), 1);
  ASSERT_EQ(source.tracks(MediaType::audio).size(), 2);
  EXPECT_EQ(source.tracks(MediaType::video).front().naturalWidth, 64);
  EXPECT_EQ(source.tracks(MediaType::video).front().nominalFrameRate, 25);
  exportSource();
  expectEqualTracks();
  const auto rotationOf = [](const FileURL& url) {
    return outputOf({"ffprobe", "-v", "error", "-show_entries", "stream=codec_type:side_data=rotation", "-of",
                     "compact", url.path()});
  };
  const std::string exported = rotationOf(destination_);
  EXPECT_NE(exported.find("rotation="), std::string::npos);
  EXPECT_EQ(exported.find("subtitle"), std::string::npos);
  EXPECT_NE(rotationOf(source_).find("subtitle"), std::string::npos);
}

// Programs that other people wrote read what was written.

TEST_F(MovieExporterTest, isAcceptedByFfprobeWithItsSamplesAndDate) {
  if (!toolExists("ffprobe")) {
    GTEST_SKIP() << "ffprobe is not installed";
  }
  for (const AVIAudioFormat& format : everyAudioFormat()) {
    std::filesystem::remove(destination_.path());
    writeClip(source_,
              {.header = {.audio = {format}}, .audioChunkBytes = 3 * std::size_t{format.blockAlign}});
    exportSource();
    const auto report = outputOf({"ffprobe", "-v", "error", "-count_packets", "-show_entries",
                                  "format=duration:format_tags:stream=codec_name,nb_read_packets,width",
                                  "-of", "compact", destination_.path()});
    EXPECT_NE(report.find("codec_name=mjpeg|width=64|nb_read_packets=30"), std::string::npos) << report;
    EXPECT_NE(report.find("com.apple.quicktime.creationdate=2026-11-15T19:13:17Z"), std::string::npos)
        << report;
    EXPECT_NE(report.find("creation_time=2026-11-15T19:13:17.000000Z"), std::string::npos) << report;
    const std::string duration = "duration=" + std::to_string(Movie(source_).duration()).substr(0, 4);
    EXPECT_NE(report.find(duration), std::string::npos) << report;
  }
}

TEST_F(MovieExporterTest, hasTheSameStreamHashesAsItsSourceForFfmpeg) {
  if (!toolExists("ffmpeg")) {
    GTEST_SKIP() << "ffmpeg is not installed";
  }
  for (const AVIAudioFormat& format : everyAudioFormat()) {
    std::filesystem::remove(destination_.path());
    writeClip(source_,
              {.header = {.audio = {format}}, .audioChunkBytes = 2 * std::size_t{format.blockAlign}});
    exportSource();
    const auto hashes = [](const FileURL& url) {
      return outputOf({"ffmpeg", "-nostdin", "-v", "error", "-i", url.path(), "-map", "0:v", "-map", "0:a",
                       "-c", "copy", "-f", "streamhash", "-"});
    };
    const auto expected = hashes(source_);
    EXPECT_NE(expected.find("v,SHA256="), std::string::npos) << expected;
    EXPECT_EQ(hashes(destination_), expected);
  }
}

TEST_F(MovieExporterTest, isAcceptedByMediainfoWithItsDates) {
  if (!toolExists("mediainfo")) {
    GTEST_SKIP() << "mediainfo is not installed";
  }
  writeClip(source_, {});
  exportSource();
  // Older versions put a space behind a colon.
  const auto report = std::regex_replace(outputOf({"mediainfo", "--Output=JSON", destination_.path()}),
                                         std::regex("\": \""), "\":\"");
  for (const std::string_view part :
       {R"("Format_Profile":"QuickTime")", R"("FrameCount":"30")", R"("CodecID":"jpeg")",
        R"("CodecID":"sowt")", R"("Encoded_Date":"2026-11-15 19:13:17 UTC")"}) {
    EXPECT_NE(report.find(part), std::string::npos) << part << report;
  }
  // Newer versions know what the key means.
  EXPECT_TRUE(report.find(R"("com_apple_quicktime_creationdate":"2026-11-15T19:13:17Z")") !=
                  std::string::npos ||
              report.find(R"("Recorded_Date":"2026-11-15 19:13:17 UTC")") != std::string::npos)
      << report;
  EXPECT_EQ(report.find("IsTruncated"), std::string::npos) << report;
}

}  // namespace tolvander::tests
