#include "TolvanderCore/Video/AVIExportProof.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Samples/AVIWriter.h"
#include "Samples/AtomEditor.h"
#include "Samples/JPEGFrame.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"

namespace tolvander::tests {

namespace {

using Case = CharmeraVideoProcessingError::Case;

struct Clip {
  std::string frames = "ABC-DE";  // a letter is a picture, a dash shows the one before once more
  std::size_t soundBytes = 400;
  AVIHeader header = {.audio = {AVIAudioFormat::pcm16()}};
};

std::string pictureOf(char letter) {
  return jpegFrame(64, 48, static_cast<std::uint32_t>(static_cast<unsigned char>(letter)));
}

void write(const FileURL& url, const Clip& clip) {
  AVIWriter writer(url, clip.header);
  for (const char frame : clip.frames) {
    for (unsigned stream = 0; stream < clip.header.videoStreams; ++stream) {
      writer.video(frame == '-' ? "" : pictureOf(frame), stream);
    }
  }
  for (unsigned stream = 0; stream < clip.header.audio.size(); ++stream) {
    writer.audio(std::string(clip.soundBytes, 's'), stream);
  }
  writer.finish();
}

class AVIExportProofTest : public testing::Test {
 protected:
  AVIExportProofTest() { write(source_, {}); }

  void exportMovie(const FileURL& from) const {
    std::filesystem::remove(exported_.path());
    platformMovieExporter()->exportMovie(
        Movie(from), {.destination = exported_, .creationDate = std::nullopt, .fileLengthLimit = 10'000'000},
        {});
  }

  // Whether the exported movie is proven to be the source.
  bool isProven() const {
    try {
      const Movie source(source_);
      const auto proof = AVIExportProof::forSource(source, {});
      const Movie exported(exported_);
      const auto video = proof.value().proveTracks(MediaType::video, exported, {});
      const auto sound = proof.value().proveTracks(MediaType::audio, exported, {});
      EXPECT_EQ(video.size(), exported.tracks(MediaType::video).size());
      EXPECT_EQ(sound.size(), exported.tracks(MediaType::audio).size());
      EXPECT_EQ(video.at(0), PayloadIdentity::of(source, MediaType::video, 0));
      EXPECT_EQ(video.at(0), PayloadIdentity::of(exported, MediaType::video, 0));
      return true;
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), Case::invalidExport) << error.what();
      return false;
    }
  }

  // Of a movie made of another clip.
  bool isProven(const Clip& other) const {
    write(other_, other);
    exportMovie(other_);
    return isProven();
  }

  // A movie whose frames last other ticks. Its table of times has an entry for the frames A and B, one for C
  // and one for D and E.
  bool isProvenWithTicks(const std::vector<int>& added) const {
    exportMovie(source_);
    bool isVideo = true;  // the first track
    const auto edit = [&](std::string_view content) {
      std::string table(content);
      if (!std::exchange(isVideo, false)) {
        return table;
      }
      for (std::size_t entry = 8; entry < table.size(); entry += 8) {
        unsigned ticks = 0;
        for (std::size_t index = 0; index < 4; ++index) {
          ticks = ticks << 8U | static_cast<unsigned char>(table[entry + 4 + index]);
        }
        ticks += static_cast<unsigned>(added.at(entry / 8 - 1));
        for (std::size_t index = 0; index < 4; ++index) {
          table[entry + 4 + index] = static_cast<char>(ticks >> (24 - 8 * index) & 0xFFU);
        }
      }
      return table;
    };
    writeFile(exported_, replacingAtoms(readFile(exported_), "stts", edit));
    return isProven();
  }

  // Whether the proof begins where the export is fed by what was in the file before.
  bool sourceAgrees(const Clip& before) const {
    write(source_, before);
    const Movie feed(source_);
    write(source_, {});
    try {
      return AVIExportProof::forSource(feed, {}).has_value();
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), Case::invalidVideo) << error.what();
      return false;
    }
  }

  TemporaryFolder folder_;
  FileURL source_ = folder_ / "source.avi";
  FileURL other_ = folder_ / "other.avi";
  FileURL exported_ = folder_ / "exported.mov";
};

}  // namespace

TEST_F(AVIExportProofTest, provesAMovieOfTheSameFramesAtTheSameTimes) {
  EXPECT_TRUE(isProven({}));
  for (const std::string frames : {"--ABC", "ABC--", "A", "A-B-C-", "A--------"}) {
    write(source_, {.frames = frames});
    EXPECT_TRUE(isProven({.frames = frames})) << frames;
  }
}

TEST_F(AVIExportProofTest, provesEveryEncodingOfSound) {
  for (const AVIAudioFormat& format :
       {AVIAudioFormat::pcm8(), AVIAudioFormat::pcm16(2), AVIAudioFormat::muLaw(), AVIAudioFormat::imaADPCM(),
        AVIAudioFormat::microsoftADPCM()}) {
    const Clip clip = {.soundBytes = 512, .header = {.audio = {format, format}}};
    write(source_, clip);
    EXPECT_TRUE(isProven(clip)) << format.formatTag;
  }
}

TEST_F(AVIExportProofTest, provesSeveralTracksOfPictures) {
  const Clip clip = {.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm16()}}};
  write(source_, clip);
  EXPECT_TRUE(isProven(clip));
}

TEST_F(AVIExportProofTest, provesSoundThatEndsWithinASample) {
  write(source_, {.soundBytes = 401});
  EXPECT_TRUE(isProven({.soundBytes = 401}));
  EXPECT_TRUE(isProven({.soundBytes = 400}));
}

TEST_F(AVIExportProofTest, provesNothingForAMovieThatIsNoAVI) {
  exportMovie(source_);
  EXPECT_FALSE(AVIExportProof::forSource(Movie(exported_), {}).has_value());
}

TEST_F(AVIExportProofTest, rejectsARepeatAtAnotherFrame) {
  EXPECT_FALSE(isProven({.frames = "AB-CDE"}));
  EXPECT_FALSE(isProven({.frames = "ABCD-E"}));
  EXPECT_FALSE(isProven({.frames = "ABCDE-"}));
  EXPECT_FALSE(isProven({.frames = "-ABCDE"}));
}

TEST_F(AVIExportProofTest, rejectsAMovieThatLostARepeat) { EXPECT_FALSE(isProven({.frames = "ABCDE"})); }

TEST_F(AVIExportProofTest, rejectsAFrameThatIsShownASlotLonger) {
  EXPECT_FALSE(isProven({.frames = "A-BC-DE"}));
  EXPECT_FALSE(isProven({.frames = "ABC--DE"}));
  EXPECT_FALSE(isProven({.frames = "ABC-DE-"}));
}

TEST_F(AVIExportProofTest, rejectsOtherFrames) {
  EXPECT_FALSE(isProven({.frames = "ABC-ED"}));   // swapped
  EXPECT_FALSE(isProven({.frames = "ABCCDE"}));   // a repeat turned into a frame
  EXPECT_FALSE(isProven({.frames = "ABC-DF"}));   // another one
  EXPECT_FALSE(isProven({.frames = "ABC-D-"}));   // one less
  EXPECT_FALSE(isProven({.frames = "ABC-DEF"}));  // one more
}

TEST_F(AVIExportProofTest, rejectsFramesThatAreCutElsewhere) {
  Clip clip = {.frames = "AB", .header = {}};
  write(source_, clip);
  AVIWriter writer(other_, clip.header);
  writer.video(pictureOf('A') + pictureOf('B').substr(0, 2));
  writer.video(pictureOf('B').substr(2));
  writer.finish();
  exportMovie(other_);
  EXPECT_EQ(PayloadIdentity::of(Movie(source_), MediaType::video, 0),
            PayloadIdentity::of(Movie(exported_), MediaType::video, 0));
  EXPECT_FALSE(isProven());
}

TEST_F(AVIExportProofTest, rejectsOtherSound) {
  EXPECT_FALSE(isProven({.soundBytes = 398}));
  EXPECT_FALSE(isProven({.soundBytes = 402}));
  EXPECT_FALSE(isProven({.header = {.audio = {AVIAudioFormat::pcm8()}}}));
  EXPECT_FALSE(isProven({.header = {.audio = {AVIAudioFormat::pcm16(2)}}}));
}

TEST_F(AVIExportProofTest, rejectsATrackMoreOrLess) {
  EXPECT_FALSE(isProven({.header = {.audio = {}}}));
  EXPECT_FALSE(isProven({.header = {.audio = {AVIAudioFormat::pcm16(), AVIAudioFormat::pcm16()}}}));
  EXPECT_FALSE(isProven({.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm16()}}}));
}

TEST_F(AVIExportProofTest, rejectsAnotherFrameRate) {
  EXPECT_FALSE(isProven({.header = {.rate = 31, .audio = {AVIAudioFormat::pcm16()}}}));
}

TEST_F(AVIExportProofTest, toleratesAMillisecondInTheTimesOfFrames) {
  EXPECT_TRUE(isProvenWithTicks({0, 0, 0}));
  EXPECT_TRUE(isProvenWithTicks({1, 1, 1}));  // of 15,360 in a second
  EXPECT_FALSE(isProvenWithTicks({16, 0, -16}));
  EXPECT_FALSE(isProvenWithTicks({-16, 0, 16}));
  EXPECT_FALSE(isProvenWithTicks({6, 6, -12}));  // D comes too late, though each frame lasts long enough
}

TEST_F(AVIExportProofTest, asksTheFeedingReaderForTheSameTracks) {
  EXPECT_TRUE(sourceAgrees({}));
  EXPECT_TRUE(sourceAgrees({.frames = "ABXYZE"}));  // whose bytes the proof of the movie compares
  EXPECT_FALSE(sourceAgrees({.frames = "ABC-D"}));
  EXPECT_FALSE(sourceAgrees({.frames = "ABC-DE-"}));
  EXPECT_FALSE(sourceAgrees({.soundBytes = 380}));
  EXPECT_FALSE(sourceAgrees({.soundBytes = 200, .header = {.audio = {AVIAudioFormat::pcm8()}}}));
  EXPECT_FALSE(sourceAgrees({.header = {.audio = {}}}));
  EXPECT_FALSE(sourceAgrees({.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm16()}}}));
  // As long, at twice the rate.
  EXPECT_FALSE(
      sourceAgrees({.frames = "ABCDEFGHIJKL", .header = {.rate = 60, .audio = {AVIAudioFormat::pcm16()}}}));
}

TEST_F(AVIExportProofTest, refusesASourceThatTheReadingRefuses) {
  const Movie feed(source_);
  std::filesystem::resize_file(source_.path(), std::filesystem::file_size(source_.path()) / 2);
  try {
    AVIExportProof::forSource(feed, {});
    FAIL();
  } catch (const CharmeraVideoProcessingError& error) {
    EXPECT_EQ(error.kind(), Case::invalidVideo);
  }
  std::filesystem::remove(source_.path());
  EXPECT_THROW(AVIExportProof::forSource(feed, {}), CharmeraVideoProcessingError);
}

TEST_F(AVIExportProofTest, provesNothingOfASourceThatHasBecomeShorter) {
  const auto proof = AVIExportProof::forSource(Movie(source_), {});
  exportMovie(source_);
  std::filesystem::resize_file(source_.path(), std::filesystem::file_size(source_.path()) / 2);
  try {
    proof.value().proveTracks(MediaType::video, Movie(exported_), {});
    FAIL();
  } catch (const CharmeraVideoProcessingError& error) {
    EXPECT_EQ(error.kind(), Case::invalidExport);
  }
}

TEST_F(AVIExportProofTest, endsWhenItIsCancelled) {
  CancellationSource cancellation;
  const Movie feed(source_);
  const auto proof = AVIExportProof::forSource(feed, cancellation.token());
  exportMovie(source_);
  const Movie exported(exported_);
  cancellation.cancel();
  EXPECT_THROW(AVIExportProof::forSource(feed, cancellation.token()), CancellationError);
  EXPECT_THROW(proof.value().proveTracks(MediaType::audio, exported, cancellation.token()),
               CancellationError);
}

}  // namespace tolvander::tests
