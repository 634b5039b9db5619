#include "TolvanderCore/NativeCharmeraVideoProcessor.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>

#include "Samples/AtomEditor.h"
#include "Samples/TestClip.h"
#include "Tests/Support/Machine/OpenHook.h"
#include "Tests/Support/Machine/OpenWatch.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/PayloadIdentity.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander::tests {

namespace {

using Case = CharmeraVideoProcessingError::Case;

// An exporter that does whatever a test wants instead.
class FaultyExporter final : public MovieExporter {
 public:
  using Export = std::function<void(const Movie&, const MovieExportRequest&, const CancellationToken&)>;

  explicit FaultyExporter(Export exportMovie, bool canExport = true)
      : export_(std::move(exportMovie)), canExport_(canExport) {}

  bool canExport(const Movie& /*movie*/) const override { return canExport_; }
  void exportMovie(const Movie& movie, const MovieExportRequest& request,
                   const CancellationToken& token) const override {
    export_(movie, request, token);
  }

 private:
  Export export_;
  bool canExport_;
};

void exportProperly(const Movie& movie, const MovieExportRequest& request, const CancellationToken& token) {
  platformMovieExporter()->exportMovie(movie, request, token);
}

void waitUntilCancelled(const CancellationToken& token) {
  std::promise<void> cancelled;
  const CancellationCallback callback(token, [&] { cancelled.set_value(); });
  cancelled.get_future().wait();
}

class NativeCharmeraVideoProcessorTest : public testing::Test {
 protected:
  NativeCharmeraVideoProcessorTest() {
    writeClip(source_, {});
    setDate("2026-11-15T19:13:17Z");
  }

  void setDate(const char* text) const {
    const auto sinceEpoch = dateFromISO8601(text)->time_since_epoch();
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = std::chrono::floor<std::chrono::seconds>(sinceEpoch).count();
    ASSERT_EQ(utimensat(AT_FDCWD, source_.path().c_str(), times, 0), 0);
  }

  // With the same tracks.
  void makeSourceAQuickTimeMovie() const {
    const FileURL movie = folder_ / "movie.mov";
    NativeCharmeraVideoProcessor().transcode(source_, movie, {});
    std::filesystem::rename(movie.path(), source_.path());
    setDate("2026-11-15T19:13:17Z");
  }

  static NativeCharmeraVideoProcessor processor(FaultyExporter::Export exportMovie) {
    return NativeCharmeraVideoProcessor(CharmeraVideoSupportStatus::available,
                                        std::make_shared<FaultyExporter>(std::move(exportMovie)));
  }

  // An exporter that exports another video than it was given.
  FaultyExporter::Export exporting(const TestClip& clip) const {
    const FileURL other = folder_ / "other.avi";
    writeClip(other, clip);
    return [other](const Movie&, const MovieExportRequest& request, const CancellationToken& token) {
      exportProperly(Movie(other), request, token);
    };
  }

  void expectFailure(const NativeCharmeraVideoProcessor& processor, Case expected) const {
    try {
      processor.transcode(source_, destination_, {});
      ADD_FAILURE() << "the transcode succeeded";
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), expected) << error.what();
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(destination_.path())));
  }

  void expectRejected(const TestClip& exported) const {
    expectFailure(processor(exporting(exported)), Case::invalidExport);
  }

  TemporaryFolder folder_;
  FileURL source_ = folder_ / "source.avi";
  FileURL destination_ = folder_ / "PICT0001.mov";
};

}  // namespace

TEST_F(NativeCharmeraVideoProcessorTest, makesAMovieThatHoldsTheSource) {
  const std::string before = readFile(source_);
  NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
  const Movie source(source_);
  const Movie exported(destination_);
  for (const MediaType type : {MediaType::video, MediaType::audio}) {
    EXPECT_EQ(PayloadIdentity::of(exported, type, 0), PayloadIdentity::of(source, type, 0));
  }
  EXPECT_EQ(VideoMediaMetadata::load(destination_).captureDate, dateFromISO8601("2026-11-15T19:13:17Z"));
  EXPECT_TRUE(readFile(source_) == before);
}

TEST_F(NativeCharmeraVideoProcessorTest, tellsWhatItHasProven) {
  writeClip(source_,
            {.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm8(), AVIAudioFormat::pcm16()}}});
  setDate("2026-11-15T19:13:17Z");
  const ProvenMovie proven = NativeCharmeraVideoProcessor().rewrap(source_, destination_, std::nullopt, {});
  EXPECT_EQ(proven.metadata, VideoMediaMetadata::load(destination_));
  const Movie source(source_);
  ASSERT_EQ(proven.videoTracks.size(), 2);
  ASSERT_EQ(proven.audioTracks.size(), 2);
  for (std::size_t index = 0; index < 2; ++index) {
    EXPECT_EQ(proven.videoTracks[index], PayloadIdentity::of(source, MediaType::video, index));
    EXPECT_EQ(proven.audioTracks[index], PayloadIdentity::of(source, MediaType::audio, index));
  }
  EXPECT_NE(proven.videoTracks[0], proven.videoTracks[1]);
}

TEST_F(NativeCharmeraVideoProcessorTest, carriesDatesBeyondTheMovieHeadersReach) {
  for (const char* text : {"1969-07-20T20:17:40Z", "1910-01-01T00:00:00Z", "2040-02-06T06:28:15Z",
                           "2040-02-06T06:28:16Z", "2107-12-31T23:59:58Z"}) {
    setDate(text);
    NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
    EXPECT_EQ(VideoMediaMetadata::load(destination_).captureDate, dateFromISO8601(text)) << text;
    std::filesystem::remove(destination_.path());
  }
}

TEST_F(NativeCharmeraVideoProcessorTest, acceptsAVideoWithoutSound) {
  writeClip(source_, {.header = {}});
  NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
  EXPECT_FALSE(VideoMediaMetadata::load(destination_).hasAudio);
}

TEST_F(NativeCharmeraVideoProcessorTest, acceptsTwoTracksOfEachKind) {
  writeClip(source_,
            {.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm8(), AVIAudioFormat::pcm8()}}});
  NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
  EXPECT_EQ(Movie(destination_).tracks(MediaType::audio).size(), 2);
}

TEST_F(NativeCharmeraVideoProcessorTest, givesUpInTimeThatGrowsWithTheVideo) {
  using std::chrono::seconds;
  EXPECT_EQ(NativeCharmeraVideoProcessor::exportTimeLimit(5), seconds(60));
  EXPECT_EQ(NativeCharmeraVideoProcessor::exportTimeLimit(7.5), seconds(60));
  EXPECT_EQ(NativeCharmeraVideoProcessor::exportTimeLimit(30), seconds(240));
  EXPECT_EQ(NativeCharmeraVideoProcessor::exportTimeLimit(225), seconds(1800));
  EXPECT_EQ(NativeCharmeraVideoProcessor::exportTimeLimit(7200), seconds(1800));
}

// Sources

TEST_F(NativeCharmeraVideoProcessorTest, refusesAnEmptyFileAndAFolder) {
  writeFile(source_, "");
  expectFailure(NativeCharmeraVideoProcessor(), Case::invalidVideo);
  std::filesystem::remove(source_.path());
  std::filesystem::create_directory(source_.path());
  expectFailure(NativeCharmeraVideoProcessor(), Case::invalidVideo);
}

TEST_F(NativeCharmeraVideoProcessorTest, refusesASourceOneByteTooLarge) {
  constexpr std::uintmax_t largest = 8'589'934'592;
  std::filesystem::resize_file(source_.path(), largest + 1);
  bool exported = false;
  const auto noteExport = [&](const Movie&, const MovieExportRequest&, const CancellationToken&) {
    exported = true;
  };
  expectFailure(processor(noteExport), Case::invalidVideo);
  EXPECT_FALSE(exported);
}

TEST_F(NativeCharmeraVideoProcessorTest, acceptsASourceOfTheGreatestSize) {
  constexpr std::uintmax_t largest = 8'589'934'592;
  makeSourceAQuickTimeMovie();
  // Nothing has to be searched for in an atom of free space, which reaches to the end of the file.
  const std::string movie = readFile(source_);
  std::string freeSpace("\0\0\0\1free", 8);
  for (int shift = 56; shift >= 0; shift -= 8) {
    freeSpace += static_cast<char>((largest - movie.size()) >> shift & 0xFFU);
  }
  writeFile(source_, movie + freeSpace);
  std::filesystem::resize_file(source_.path(), largest);
  bool exported = false;
  const auto noteExport = [&](const Movie&, const MovieExportRequest&, const CancellationToken&) {
    exported = true;
    throw std::runtime_error("that was all");
  };
  expectFailure(processor(noteExport), Case::exportFailed);
  EXPECT_TRUE(exported);
}

TEST_F(NativeCharmeraVideoProcessorTest, passesOnThatTheSourceIsMissing) {
  std::filesystem::remove(source_.path());
  try {
    NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
    FAIL();
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), ENOENT);
  }
}

TEST_F(NativeCharmeraVideoProcessorTest, refusesPlaylistsAndOpensNothingThatTheyName) {
  const FileURL other = folder_ / "other.avi";
  writeClip(other, {});
  const OpenWatch watch(other);
  for (const std::string& content :
       {"#EXTM3U\n#EXTINF:1,\n" + other.path() + "\n#EXT-X-ENDLIST\n",
        "ffconcat version 1.0\nfile '" + other.path() + "'\n",
        std::string("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nt=0 0\nm=video 5004 RTP/AVP 26\n")}) {
    writeFile(source_, content);
    expectFailure(NativeCharmeraVideoProcessor(), Case::invalidVideo);
  }
  EXPECT_FALSE(watch.wasOpened());
  EXPECT_FALSE(readFile(other).empty());
  EXPECT_TRUE(watch.wasOpened());
}

TEST_F(NativeCharmeraVideoProcessorTest, refusesAMovieWhoseSamplesLieInAnotherFileAndLeavesThatAlone) {
  const FileURL samples = folder_ / "samples.mov";
  NativeCharmeraVideoProcessor().transcode(source_, samples, {});
  // An alias record (Inside Macintosh: Files) of version 2 with the absolute path as its one tagged item.
  std::string alias(150, '\0');
  alias[7] = 2;
  const auto length = static_cast<char>(samples.path().size());
  alias +=
      std::string("\x00\x02\x00", 3) + length + samples.path() + std::string(samples.path().size() % 2, '\0');
  alias += std::string("\xFF\xFF\x00\x00", 4);
  const std::string versionAndFlags(4, '\0');
  const std::string references =
      versionAndFlags + std::string("\0\0\0\1", 4) + atom("alis", versionAndFlags + alias);
  int replaced = 0;
  writeFile(source_, replacingAtoms(readFile(samples), "dref", [&](std::string_view) {
              ++replaced;
              return std::string(references);
            }));
  ASSERT_EQ(replaced, 2);

  const OpenWatch watch(samples);
  expectFailure(NativeCharmeraVideoProcessor(), Case::invalidVideo);
  EXPECT_FALSE(watch.wasOpened());
}

TEST_F(NativeCharmeraVideoProcessorTest, refusesATruncatedSource) {
  TestClip clip;
  clip.header.index = AVIIndex::none;
  writeClip(source_, clip);
  truncateFile(source_, 10);
  expectFailure(NativeCharmeraVideoProcessor(), Case::invalidVideo);
}

// Destinations

TEST_F(NativeCharmeraVideoProcessorTest, keepsAFileThatIsAtTheDestination) {
  writeFile(destination_, "precious");
  try {
    NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
    FAIL();
  } catch (const CharmeraVideoProcessingError& error) {
    EXPECT_EQ(error.kind(), Case::invalidDestination);
  }
  EXPECT_EQ(readFile(destination_), "precious");
}

TEST_F(NativeCharmeraVideoProcessorTest, keepsALinkThatIsAtTheDestinationAndLeadsNowhere) {
  std::filesystem::create_symlink((folder_ / "nowhere.mov").path(), destination_.path());
  try {
    NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
    FAIL();
  } catch (const CharmeraVideoProcessingError& error) {
    EXPECT_EQ(error.kind(), Case::invalidDestination);
  }
  EXPECT_TRUE(std::filesystem::is_symlink(destination_.path()));
  EXPECT_FALSE(std::filesystem::exists(folder_.url().path() + "/nowhere.mov"));
}

TEST_F(NativeCharmeraVideoProcessorTest, keepsAFileThatAnotherPutsAtTheDestinationJustBeforeTheExport) {
  const auto comeSecond = [](const Movie& source, const MovieExportRequest& request,
                             const CancellationToken& token) {
    writeFile(request.destination, "precious");
    exportProperly(source, request, token);
  };
  const auto comeSecondAndLate = [&](const Movie& source, const MovieExportRequest& request,
                                     const CancellationToken& token) {
    waitUntilCancelled(token);
    comeSecond(source, request, {});
  };
  const NativeCharmeraVideoProcessor late(CharmeraVideoSupportStatus::available,
                                          std::make_shared<FaultyExporter>(comeSecondAndLate),
                                          [](double) { return std::chrono::nanoseconds(0); });
  for (const NativeCharmeraVideoProcessor& one : {processor(comeSecond), late}) {
    try {
      one.transcode(source_, destination_, {});
      ADD_FAILURE();
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), Case::invalidDestination);
    }
    EXPECT_EQ(readFile(destination_), "precious");
    std::filesystem::remove(destination_.path());
  }
}

TEST_F(NativeCharmeraVideoProcessorTest, refusesToWriteOverItsSource) {
  const std::string before = readFile(source_);
  const FileURL link = folder_ / "link.mov";
  std::filesystem::create_symlink(source_.path(), link.path());
  std::filesystem::create_directory_symlink(folder_.url().path(), (folder_ / "folder").path());
  for (const FileURL& same : {source_, link, folder_ / "folder/source.avi"}) {
    try {
      NativeCharmeraVideoProcessor().transcode(source_, same, {});
      ADD_FAILURE() << same.path();
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), Case::invalidDestination);
    }
  }
  EXPECT_TRUE(readFile(source_) == before);
}

// Exports that are not what they should be

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatLostAFrame) { expectRejected({.frames = 29}); }

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatLostItsLastSoundSample) {
  const auto withoutLastSample = [this](const Movie&, const MovieExportRequest& request,
                                        const CancellationToken& token) {
    // The same chunks but for the last one, which is one sample shorter.
    std::string bytes = readFile(source_);
    const std::size_t chunk = bytes.rfind("01wb", bytes.rfind("idx1"));
    bytes[chunk + 4] = static_cast<char>(532 % 256 - 2);
    bytes.erase(bytes.rfind("idx1") - 2);
    writeFile(folder_ / "shorter.avi", bytes);
    const Movie shorter(folder_ / "shorter.avi");
    ASSERT_EQ(PayloadIdentity::of(shorter, MediaType::audio, 0).sampleCount, 7979);
    exportProperly(shorter, request, token);
  };
  expectFailure(processor(withoutLastSample), Case::invalidExport);
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieWithOneByteFlippedAnywhere) {
  NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
  const std::string movie = readFile(destination_);
  std::filesystem::remove(destination_.path());
  const std::size_t mediaStart = movie.find("mdat") + 4;
  const std::size_t mediaEnd = movie.rfind("moov") - 4;
  for (const std::size_t offset : {mediaStart, (mediaStart + mediaEnd) / 2, mediaEnd - 1}) {
    const auto flip = [&](const Movie& source, const MovieExportRequest& request,
                          const CancellationToken& token) {
      exportProperly(source, request, token);
      std::string bytes = readFile(request.destination);
      bytes[offset] = static_cast<char>(bytes[offset] ^ 1);
      writeFile(request.destination, bytes);
    };
    expectFailure(processor(flip), Case::invalidExport);
  }
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieWithOtherContent) { expectRejected({.seed = 2}); }

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatLostItsSound) { expectRejected({.header = {}}); }

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatLostOneOfTwoSoundTracks) {
  writeClip(source_, {.header = {.audio = {AVIAudioFormat::pcm16(), AVIAudioFormat::pcm16()}}});
  expectRejected({});
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatGainedATrack) {
  const std::vector<AVIAudioFormat> two(2, AVIAudioFormat::pcm16());
  expectRejected({.header = {.audio = two}});
  expectRejected({.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm16()}}});
}

// What isn't an AVI is compared with the movie by another proof.
TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatGainedATrackOverAQuickTimeSource) {
  const TestClip withMore{.header = {.audio = {AVIAudioFormat::pcm16(), AVIAudioFormat::pcm16()}}};
  makeSourceAQuickTimeMovie();
  NativeCharmeraVideoProcessor().transcode(source_, destination_, {});
  std::filesystem::remove(destination_.path());
  expectRejected(withMore);
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieWithSoundInAnotherEncoding) {
  writeClip(source_, {.header = {.audio = {AVIAudioFormat::muLaw()}}});
  expectRejected({.header = {.audio = {AVIAudioFormat::pcm8()}}});
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieOfAnotherSizeRateOrDuration) {
  expectRejected({.header = {.width = 72, .audio = {AVIAudioFormat::pcm16()}}});
  expectRejected({.header = {.rate = 29, .audio = {AVIAudioFormat::pcm16()}}});
  expectRejected({.frames = 31, .repeatedFrames = {30}});
}

// At 5 frames a second whole movies may differ by 0.2 seconds, but no frame by 1.2 milliseconds.
TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieWhosePicturesStartLate) {
  writeClip(source_, {.header = {.rate = 5}, .frames = 5});
  setDate("2026-11-15T19:13:17Z");
  const auto delayBy = [](unsigned thousandthsOfFrame) {
    return [thousandthsOfFrame](const Movie& source, const MovieExportRequest& request,
                                const CancellationToken& token) {
      exportProperly(source, request, token);
      const auto delayed = [&](std::string_view tables) {
        const std::string_view frameTicks = tables.substr(tables.find("stts") + 16, 4);
        unsigned ticks = 0;
        for (const char byte : frameTicks) {
          ticks = ticks << 8U | static_cast<unsigned char>(byte);
        }
        ticks = ticks * thousandthsOfFrame / 1000;
        std::string offsets("\0\0\0\0\0\0\0\1\0\0\0\5", 12);
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
          offsets += static_cast<char>(ticks >> shift & 0xFFU);
        }
        return std::string(tables) + atom("ctts", offsets);
      };
      writeFile(request.destination, replacingAtoms(readFile(request.destination), "stbl", delayed));
      EXPECT_NEAR(Movie(request.destination).tracks(MediaType::video).front().start,
                  thousandthsOfFrame / 5000.0, 0.001);
    };
  };
  expectFailure(processor(delayBy(750)), Case::invalidExport);
  expectFailure(processor(delayBy(6)), Case::invalidExport);
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieThatLostItsDate) {
  const auto loseDate = [](const Movie& source, MovieExportRequest request, const CancellationToken& token) {
    request.creationDate.reset();
    exportProperly(source, request, token);
  };
  expectFailure(processor(loseDate), Case::invalidExport);
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAMovieWhoseDateIsASecondOff) {
  const auto shiftDate = [](const Movie& source, MovieExportRequest request, const CancellationToken& token) {
    EXPECT_EQ(request.creationDate, "2026-11-15T19:13:17Z");
    request.creationDate = "2026-11-15T19:13:18Z";
    exportProperly(source, request, token);
  };
  expectFailure(processor(shiftDate), Case::invalidExport);
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsHalfAMovie) {
  const auto writeHalf = [](const Movie& source, const MovieExportRequest& request,
                            const CancellationToken& token) {
    exportProperly(source, request, token);
    truncateFile(request.destination, std::filesystem::file_size(request.destination.path()) / 2);
  };
  expectFailure(processor(writeHalf), Case::invalidVideo);
}

TEST_F(NativeCharmeraVideoProcessorTest, rejectsAnExportThatWroteNothing) {
  expectFailure(processor([](const Movie&, const MovieExportRequest&, const CancellationToken&) {}),
                Case::invalidVideo);
}

TEST_F(NativeCharmeraVideoProcessorTest, removesWhatAFailedExportWrote) {
  const auto writeAndFail = [](const Movie&, const MovieExportRequest& request, const CancellationToken&) {
    writeFile(request.destination, "half");
    throw MovieError(MovieError::Case::exportFailed, request.destination, "the disk is full");
  };
  expectFailure(processor(writeAndFail), Case::exportFailed);
  const auto writeAndThrow = [](const Movie&, const MovieExportRequest& request, const CancellationToken&) {
    writeFile(request.destination, "half");
    throw std::runtime_error("anything");
  };
  expectFailure(processor(writeAndThrow), Case::exportFailed);
}

TEST_F(NativeCharmeraVideoProcessorTest, keepsTheExportersOwnProcessingError) {
  const auto fail = [](const Movie&, const MovieExportRequest&, const CancellationToken&) {
    throw CharmeraVideoProcessingError(Case::nativeExportUnavailable);
  };
  expectFailure(processor(fail), Case::nativeExportUnavailable);
}

TEST_F(NativeCharmeraVideoProcessorTest, failsBeforeTheExportWhereNoneIsPossible) {
  const auto fail = [](const Movie&, const MovieExportRequest&, const CancellationToken&) {
    FAIL() << "exported all the same";
  };
  expectFailure(NativeCharmeraVideoProcessor(CharmeraVideoSupportStatus::available,
                                             std::make_shared<FaultyExporter>(fail, false)),
                Case::nativeExportUnavailable);
}

TEST_F(NativeCharmeraVideoProcessorTest, limitsTheExportsLength) {
  std::int64_t limit = 0;
  const auto noteLimit = [&](const Movie& source, const MovieExportRequest& request,
                             const CancellationToken& token) {
    limit = request.fileLengthLimit;
    exportProperly(source, request, token);
  };
  processor(noteLimit).transcode(source_, destination_, {});
  EXPECT_EQ(limit, 8'589'934'592);
}

// Time and cancellation

TEST_F(NativeCharmeraVideoProcessorTest, endsAnExportThatTakesTooLong) {
  double askedFor = 0;
  const auto neverEnd = [](const Movie&, const MovieExportRequest& request, const CancellationToken& token) {
    writeFile(request.destination, "half");
    waitUntilCancelled(token);
    throw CancellationError();
  };
  const NativeCharmeraVideoProcessor slow(CharmeraVideoSupportStatus::available,
                                          std::make_shared<FaultyExporter>(neverEnd), [&](double duration) {
                                            askedFor = duration;
                                            return std::chrono::nanoseconds(0);
                                          });
  expectFailure(slow, Case::exportTimedOut);
  EXPECT_EQ(askedFor, 1);
}

TEST_F(NativeCharmeraVideoProcessorTest, callsAnExportTooLongThatEndsAfterItsTime) {
  const auto endLate = [](const Movie& source, const MovieExportRequest& request,
                          const CancellationToken& token) {
    waitUntilCancelled(token);
    exportProperly(source, request, {});
  };
  expectFailure(NativeCharmeraVideoProcessor(CharmeraVideoSupportStatus::available,
                                             std::make_shared<FaultyExporter>(endLate),
                                             [](double) { return std::chrono::nanoseconds(0); }),
                Case::exportTimedOut);
}

TEST_F(NativeCharmeraVideoProcessorTest, leavesNoFileWhenCancelledDuringTheExport) {
  CancellationSource cancellation;
  const auto cancelAndGoOn = [&](const Movie& source, const MovieExportRequest& request,
                                 const CancellationToken& token) {
    writeFile(request.destination, "half");
    cancellation.cancel();
    EXPECT_TRUE(token.isCancelled());
    exportProperly(source, request, token);
  };
  EXPECT_THROW(processor(cancelAndGoOn).transcode(source_, destination_, cancellation.token()),
               CancellationError);
  EXPECT_FALSE(std::filesystem::exists(destination_.path()));
}

TEST_F(NativeCharmeraVideoProcessorTest, leavesNoFileWhenCancelledAfterTheExport) {
  CancellationSource cancellation;
  const auto cancelAtTheEnd = [&](const Movie& source, const MovieExportRequest& request,
                                  const CancellationToken& token) {
    exportProperly(source, request, token);
    cancellation.cancel();
  };
  EXPECT_THROW(processor(cancelAtTheEnd).transcode(source_, destination_, cancellation.token()),
               CancellationError);
  EXPECT_FALSE(std::filesystem::exists(destination_.path()));
}

TEST_F(NativeCharmeraVideoProcessorTest, callsACancelledExportCancelledWhateverItThrows) {
  CancellationSource cancellation;
  const auto cancelAndFail = [&](const Movie&, const MovieExportRequest&, const CancellationToken&) {
    cancellation.cancel();
    throw std::runtime_error("interrupted");
  };
  EXPECT_THROW(processor(cancelAndFail).transcode(source_, destination_, cancellation.token()),
               CancellationError);
}

TEST_F(NativeCharmeraVideoProcessorTest, keepsACancellationThatTheExportReports) {
  const auto reportCancellation = [](const Movie&, const MovieExportRequest&, const CancellationToken&) {
    throw CancellationError();
  };
  EXPECT_THROW(processor(reportCancellation).transcode(source_, destination_, {}), CancellationError);
}

TEST_F(NativeCharmeraVideoProcessorTest, doesNothingForACancelledTask) {
  CancellationSource cancellation;
  cancellation.cancel();
  std::filesystem::remove(source_.path());
  EXPECT_THROW(NativeCharmeraVideoProcessor().transcode(source_, destination_, cancellation.token()),
               CancellationError);
}

TEST_F(NativeCharmeraVideoProcessorTest, stopsLoadingAVideoThatIsCancelledMeanwhile) {
  if (const auto reason = OpenHook::reasonAgainst()) {
    GTEST_SKIP() << *reason;
  }
  const FileURL broken = folder_ / "broken.avi";
  writeFile(broken, "no video");
  for (const FileURL& url : {source_, broken}) {
    CancellationSource cancellation;
    const OpenHook hook(url, [&] { cancellation.cancel(); });
    EXPECT_THROW(VideoMediaMetadata::load(url, cancellation.token()), CancellationError) << url.path();
  }
}

// Probe

TEST_F(NativeCharmeraVideoProcessorTest, probesAVideo) {
  const Date date(std::chrono::seconds(1));
  const FileURL url = folder_ / "PICT0001.take 2.AVI";
  std::filesystem::rename(source_.path(), url.path());
  const NativeCharmeraVideoProcessor other(CharmeraVideoSupportStatus::requiresSanitizedFixture);
  EXPECT_EQ(other.supportStatus(), CharmeraVideoSupportStatus::requiresSanitizedFixture);
  EXPECT_EQ(other.probe(url, date, {}),
            (CharmeraVideoProbe{.supportStatus = CharmeraVideoSupportStatus::available,
                                .sourceFingerprint = FileFingerprinter::sha256(url),
                                .proposedOutputFilename = "PICT0001.take 2.mov",
                                .captureDate = date}));
  EXPECT_FALSE(other.probe(url, std::nullopt, {}).captureDate);
}

TEST_F(NativeCharmeraVideoProcessorTest, probesNothingThatItCouldNotConvert) {
  writeFile(source_, "no video");
  EXPECT_THROW(NativeCharmeraVideoProcessor().probe(source_, std::nullopt, {}), CharmeraVideoProcessingError);
  writeFile(source_, "");
  EXPECT_THROW(NativeCharmeraVideoProcessor().probe(source_, std::nullopt, {}), CharmeraVideoProcessingError);
  EXPECT_THROW(NativeCharmeraVideoProcessor().probe(folder_ / "missing.avi", std::nullopt, {}), PosixError);
}

TEST_F(NativeCharmeraVideoProcessorTest, stopsAProbeWhenCancelled) {
  CancellationSource cancellation;
  cancellation.cancel();
  EXPECT_THROW(NativeCharmeraVideoProcessor().probe(source_, std::nullopt, cancellation.token()),
               CancellationError);
}

}  // namespace tolvander::tests
