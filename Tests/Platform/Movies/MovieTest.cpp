#include "TolvanderCore/Platform/Movie.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Samples/AVIWriter.h"
#include "Samples/AtomEditor.h"
#include "Samples/JPEGFrame.h"
#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

constexpr std::uint32_t code(const char (&text)[5]) {
  return static_cast<std::uint32_t>(text[0]) << 24U | static_cast<std::uint32_t>(text[1]) << 16U |
         static_cast<std::uint32_t>(text[2]) << 8U | static_cast<std::uint32_t>(text[3]);
}

std::string littleEndian32(std::uint32_t value) {
  std::string bytes;
  for (const unsigned shift : {0U, 8U, 16U, 24U}) {
    bytes += static_cast<char>(value >> shift & 0xFFU);
  }
  return bytes;
}

struct Samples {
  std::int64_t count = 0;
  std::string bytes;
};

Samples samplesOf(const Movie& movie, MediaType type, std::size_t index = 0) {
  Samples samples;
  movie.readSamples(type, index, [&](const MovieSampleBuffer& buffer) {
    EXPECT_GE(buffer.sampleCount, 1);
    samples.count += buffer.sampleCount;
    samples.bytes.append(reinterpret_cast<const char*>(buffer.bytes.data()), buffer.bytes.size());
  });
  return samples;
}

class MovieTest : public testing::Test {
 protected:
  const TestClipContent& write(const TestClip& clip) {
    content_ = writeClip(url_, clip);
    return content_;
  }

  Movie open() const { return Movie(url_); }

  // The movie holds what was written into the file, and nothing else.
  void expectContent(const Movie& movie) const {
    ASSERT_EQ(movie.tracks(MediaType::video).size(), content_.video.size());
    ASSERT_EQ(movie.tracks(MediaType::audio).size(), content_.audio.size());
    for (std::size_t index = 0; index < content_.video.size(); ++index) {
      const Samples samples = samplesOf(movie, MediaType::video, index);
      EXPECT_EQ(samples.count, content_.videoFrames);
      EXPECT_TRUE(samples.bytes == content_.video[index]);
    }
    for (std::size_t index = 0; index < content_.audio.size(); ++index) {
      EXPECT_TRUE(samplesOf(movie, MediaType::audio, index).bytes == content_.audio[index]);
    }
  }

  void expectUnreadable() const { EXPECT_THROW(Movie{url_}, MovieError); }

  TemporaryFolder folder_;
  FileURL url_ = folder_ / "clip.avi";
  TestClipContent content_;
};

}  // namespace

TEST_F(MovieTest, tellsTracksByTheirSamples) {
  write({});
  const Movie movie = open();
  expectContent(movie);
  const MovieTrack& video = movie.tracks(MediaType::video).front();
  EXPECT_EQ(video.naturalWidth, 64);
  EXPECT_EQ(video.naturalHeight, 48);
  EXPECT_EQ(video.nominalFrameRate, 30);
  EXPECT_EQ(video.start, 0);
  EXPECT_EQ(video.duration, 1);
  EXPECT_EQ(video.codecs, std::vector{code("jpeg")});
  const MovieTrack& audio = movie.tracks(MediaType::audio).front();
  EXPECT_EQ(audio.codecs, std::vector{code("sowt")});
  EXPECT_EQ(samplesOf(movie, MediaType::audio).count, 7980);
  EXPECT_DOUBLE_EQ(audio.duration, 7980.0 / 8000);
  EXPECT_EQ(movie.duration(), 1);
  EXPECT_FALSE(movie.creationDate());
}

TEST_F(MovieTest, hasNoAudioTrackWhereThereIsNoSound) {
  write({.header = {}});
  const Movie movie = open();
  expectContent(movie);
  EXPECT_TRUE(movie.tracks(MediaType::audio).empty());
}

TEST_F(MovieTest, doesNotCountAStreamWithoutSamples) {
  write({.audioChunkBytes = 0});
  EXPECT_TRUE(open().tracks(MediaType::audio).empty());
  EXPECT_EQ(open().tracks(MediaType::video).size(), 1);
}

TEST_F(MovieTest, keepsTwoTracksOfOneKindApart) {
  write({.header = {.videoStreams = 2, .audio = {AVIAudioFormat::pcm8(), AVIAudioFormat::muLaw(2)}}});
  expectContent(open());
  EXPECT_NE(content_.video[0], content_.video[1]);
}

TEST_F(MovieTest, doesNotLookAtTextTracks) {
  write({.header = {.audio = {AVIAudioFormat::pcm16()}, .textStream = true}});
  expectContent(open());
}

TEST_F(MovieTest, countsSoundInSamplesWhateverItsEncoding) {
  struct Expectation {
    AVIAudioFormat format;
    std::uint32_t codec;
    std::int64_t samples;  // in 30 chunks of 1024 bytes
  };
  const std::uint32_t microsoft = code("ms\0\0");
  for (const Expectation& expected :
       {Expectation{AVIAudioFormat::pcm8(), code("raw "), 30'720},
        Expectation{AVIAudioFormat::pcm8(2), code("raw "), 15'360},
        Expectation{AVIAudioFormat::pcm16(), code("sowt"), 15'360},
        Expectation{AVIAudioFormat::pcm16(2, 44'100), code("sowt"), 7'680},
        Expectation{AVIAudioFormat::muLaw(), code("ulaw"), 30'720},
        Expectation{AVIAudioFormat::imaADPCM(), microsoft | 0x11U, std::int64_t{120} * 505},
        Expectation{AVIAudioFormat::imaADPCM(2), microsoft | 0x11U, std::int64_t{60} * 505},
        Expectation{AVIAudioFormat::microsoftADPCM(), microsoft | 0x02U, std::int64_t{120} * 500},
        Expectation{AVIAudioFormat::microsoftADPCM(2), microsoft | 0x02U, std::int64_t{60} * 500}}) {
    write({.header = {.audio = {expected.format}}, .audioChunkBytes = 1024});
    const Movie movie = open();
    expectContent(movie);
    const MovieTrack& track = movie.tracks(MediaType::audio).front();
    EXPECT_EQ(track.codecs, std::vector{expected.codec});
    EXPECT_EQ(samplesOf(movie, MediaType::audio).count, expected.samples);
    EXPECT_DOUBLE_EQ(track.duration, static_cast<double>(expected.samples) / expected.format.sampleRate);
  }
}

TEST_F(MovieTest, joinsSamplesThatStraddleChunks) {
  write({.audioChunkBytes = 533});
  const Movie movie = open();
  expectContent(movie);
  EXPECT_EQ(samplesOf(movie, MediaType::audio).count, 7995);
}

TEST_F(MovieTest, joinsSamplesOfChunksThatAreSmallerThanOne) {
  write({.header = {.audio = {AVIAudioFormat::pcm16(2)}}, .audioChunkBytes = 1});
  const Movie movie = open();
  EXPECT_EQ(samplesOf(movie, MediaType::audio).count, 7);
  EXPECT_EQ(samplesOf(movie, MediaType::audio).bytes, content_.audio[0].substr(0, 28));
}

TEST_F(MovieTest, joinsSamplesOfChunksThatAreReadInParts) {
  write({.header = {.audio = {AVIAudioFormat::pcm16(2)}}, .frames = 2, .audioChunkBytes = 1'000'002});
  expectContent(open());
  EXPECT_EQ(samplesOf(open(), MediaType::audio).count, 500'001);
}

TEST_F(MovieTest, refusesAFrameThatIsTooLargeForMemory) {
  constexpr std::size_t most = 33'554'432;
  for (const std::size_t size : {most, most + 1}) {
    AVIWriter writer(url_, {.videoCodec = "H264"});
    writer.video(std::string(size, 'x'));
    writer.finish();
    if (size == most) {
      EXPECT_EQ(samplesOf(open(), MediaType::video).bytes.size(), most);
    } else {
      expectUnreadable();
    }
  }
}

TEST_F(MovieTest, refusesAFrameRateThatIsOutOfRange) {
  write({.header = {.rate = 0x80000001U, .scale = 2}});
  expectUnreadable();
  write({.header = {.rate = 0x80000000U, .scale = 0x04000000U}});
  EXPECT_EQ(open().tracks(MediaType::video).front().nominalFrameRate, 32);
}

TEST_F(MovieTest, refusesSoundWhoseHeaderIsDamaged) {
  write({});
  const std::string whole = readFile(url_);
  const std::size_t format = whole.rfind("strf") + 8;
  for (const auto& [offset, value] : {std::pair(0U, 0x7777U), {2U, 0U}, {4U, 0U}, {4U, 1U}, {14U, 13U}}) {
    writeFile(url_, std::string(whole).replace(format + offset, 2, littleEndian32(value).substr(0, 2)));
    expectUnreadable();
  }
}

TEST_F(MovieTest, leavesOutTheRestOfAnUncompressedSample) {
  write({.frames = 1, .audioChunkBytes = 533});
  const Movie movie = open();
  EXPECT_EQ(samplesOf(movie, MediaType::audio).count, 266);
  EXPECT_EQ(samplesOf(movie, MediaType::audio).bytes, content_.audio[0].substr(0, 532));
}

TEST_F(MovieTest, refusesABlockOfSoundThatIsCutOff) {
  write({.header = {.audio = {AVIAudioFormat::imaADPCM()}}, .frames = 3, .audioChunkBytes = 250});
  expectUnreadable();
}

TEST_F(MovieTest, ignoresTheTimesThatTheContainerGivesToSound) {
  write({.header = {.audio = {AVIAudioFormat::pcm16()}, .claimedAudioScale = 7}});
  const MovieTrack audio = open().tracks(MediaType::audio).front();
  EXPECT_EQ(audio.start, 0);
  EXPECT_DOUBLE_EQ(audio.duration, 7980.0 / 8000);
}

TEST_F(MovieTest, repeatedFramesLastLongerAndAreNoSamples) {
  for (const std::set<unsigned>& repeated :
       {std::set<unsigned>{0, 1}, {12}, {28, 29}, {0, 1, 12, 13, 28, 29}}) {
    for (const AVIIndex index : {AVIIndex::whole, AVIIndex::none}) {
      write({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = index}, .repeatedFrames = repeated});
      const Movie movie = open();
      expectContent(movie);
      const MovieTrack& video = movie.tracks(MediaType::video).front();
      EXPECT_EQ(video.start, 0);
      EXPECT_EQ(video.duration, 1);
      EXPECT_EQ(video.nominalFrameRate, 30);
    }
  }
}

TEST_F(MovieTest, readsFilesWithMissingOrHalfAnIndex) {
  for (const AVIIndex index : {AVIIndex::none, AVIIndex::half}) {
    write({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = index}});
    expectContent(open());
  }
}

TEST_F(MovieTest, readsEverySampleWhereTheIndexPointsAnywhere) {
  write({});
  std::string bytes = readFile(url_);
  constexpr std::size_t entrySize = 16;
  const std::size_t entries = bytes.rfind("idx1") + 8;
  for (std::size_t entry = entries + 10 * entrySize; entry < bytes.size(); entry += entrySize) {
    bytes.replace(entry + 8, 4, littleEndian32(static_cast<std::uint32_t>(entry) * 2'654'435'761U >> 1U));
  }
  writeFile(url_, bytes);
  expectContent(open());
}

TEST_F(MovieTest, readsEverySampleWhereTheIndexOfANonInterleavedFileHasGaps) {
  constexpr unsigned frames = 30;
  AVIWriter writer(url_, TestClip().header);
  content_ = {.videoFrames = frames, .video = {""}, .audio = {""}};
  for (unsigned frame = 0; frame < frames; ++frame) {
    const std::string bytes = jpegFrame(64, 48, frame);
    writer.video(bytes);
    content_.video[0] += bytes;
  }
  for (unsigned block = 0; block < frames; ++block) {
    const std::string bytes(532, static_cast<char>('a' + block));
    writer.audio(bytes);
    content_.audio[0] += bytes;
  }
  writer.finish();

  const std::string bytes = readFile(url_);
  constexpr std::size_t entrySize = 16;
  const std::size_t index = bytes.rfind("idx1");
  std::string gappy = bytes.substr(0, index) + "idx1" + littleEndian32(frames * entrySize);
  for (std::size_t entry = index + 8; entry < bytes.size(); entry += 2 * entrySize) {
    gappy += bytes.substr(entry, entrySize);
  }
  writeFile(url_, gappy);
  expectContent(open());
}

TEST_F(MovieTest, readsFilesWhoseOuterSizeIsZeroOrTooLarge) {
  for (const std::uint32_t size : {0U, 0xFFFFFFFFU}) {
    write({.header = {.audio = {AVIAudioFormat::pcm16()}, .claimedRIFFSize = size}});
    expectContent(open());
  }
}

TEST_F(MovieTest, readsOpenDMLFiles) {
  write({.header = {.audio = {AVIAudioFormat::pcm16()}, .chunksPerRIFF = 16}});
  expectContent(open());
}

TEST_F(MovieTest, believesNoCountOfAHeader) {
  for (const std::uint32_t frames : {0U, 100'000U, 0xFFFFFFFFU}) {
    write({.header = {.audio = {AVIAudioFormat::pcm16()},
                      .claimedFrames = frames,
                      .claimedAudioLength = 0xFFFFFFFFU - frames}});
    const Movie movie = open();
    expectContent(movie);
    EXPECT_EQ(movie.tracks(MediaType::video).front().duration, 1);
    EXPECT_EQ(movie.duration(), 1);
  }
}

TEST_F(MovieTest, takesThePictureSizeFromTheFrames) {
  write({.header = {.width = 64, .height = 48}, .frameWidth = 9000, .frameHeight = 40});
  EXPECT_EQ(open().tracks(MediaType::video).front().naturalWidth, 9000);
  EXPECT_EQ(open().tracks(MediaType::video).front().naturalHeight, 40);
}

TEST_F(MovieTest, takesTheGreatestPictureSizeOfAllFrames) {
  AVIWriter writer(url_, {.width = 16, .height = 16});
  writer.video(jpegFrame(16, 16, 1));
  writer.video(jpegFrameClaiming(9000, 8, 2));
  writer.video(jpegFrame(16, 16, 3));
  writer.finish();
  EXPECT_EQ(open().tracks(MediaType::video).front().naturalWidth, 9000);
  EXPECT_EQ(open().tracks(MediaType::video).front().naturalHeight, 16);
}

TEST_F(MovieTest, countsTheTwoFieldsOfAnInterlacedFrameTogether) {
  write({.header = {.width = 64, .height = 96}, .frameWidth = 64, .frameHeight = 48});
  EXPECT_EQ(open().tracks(MediaType::video).front().naturalHeight, 96);
}

TEST_F(MovieTest, takesThePictureSizeFromTheHeaderWhereNoFrameHasOne) {
  AVIWriter writer(url_, {.width = 320, .height = 200});
  writer.video("no picture");
  writer.finish();
  EXPECT_EQ(open().tracks(MediaType::video).front().naturalWidth, 320);
}

TEST_F(MovieTest, refusesAFileThatBreaksOffWithinASample) {
  TestClip clip;
  clip.header.index = AVIIndex::none;
  write(clip);
  truncateFile(url_, 10);
  expectUnreadable();
}

TEST_F(MovieTest, refusesAFileThatBreaksOffBetweenSamples) {
  TestClip clip;
  clip.header.index = AVIIndex::none;
  clip.frames = 29;
  write(clip);
  clip.frames = 30;
  clip.header.claimedFrames = 30;
  const std::uint64_t whole = readFile(url_).size();
  writeClip(url_, clip);
  truncateFile(url_, readFile(url_).size() - whole);
  expectUnreadable();
}

TEST_F(MovieTest, readsFilesWhoseMovieListHasNoSizeAndThatEndWithinAChunkHeader) {
  for (const AVIIndex index : {AVIIndex::whole, AVIIndex::none}) {
    for (const std::uint32_t size : {0U, 0xFFFFFFFFU}) {
      write({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = index}});
      std::string bytes = readFile(url_);
      bytes.replace(bytes.find("movi") - 4, 4, littleEndian32(size));
      writeFile(url_, bytes + "00dc");
      expectContent(open());
    }
  }
}

TEST_F(MovieTest, readsRecordListsAndPaddingAmongTheSamples) {
  write({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = AVIIndex::none}});
  std::string bytes = readFile(url_);
  const std::size_t sizeOfMovie = bytes.find("movi") - 4;
  const std::string inserted =
      "JUNK" + littleEndian32(3) + "abc" + '\0' + "LIST" + littleEndian32(4) + "rec ";
  std::size_t count = 0;
  for (std::size_t at = sizeOfMovie + 8; at < bytes.size();) {
    bytes.insert(at, inserted);
    at += inserted.size();
    const auto size = static_cast<unsigned char>(bytes[at + 4]) +
                      std::size_t{static_cast<unsigned char>(bytes[at + 5])} * 256;
    at += 8 + size + size % 2;
    ++count;
  }
  EXPECT_EQ(count, 60);
  bytes.replace(sizeOfMovie, 4, littleEndian32(static_cast<std::uint32_t>(bytes.size() - sizeOfMovie - 4)));
  writeFile(url_, bytes);
  expectContent(open());
}

TEST_F(MovieTest, refusesADamagedChunkAmongTheSamples) {
  for (const AVIIndex index : {AVIIndex::whole, AVIIndex::none}) {
    write({.header = {.audio = {AVIAudioFormat::pcm16()}, .index = index}});
    const std::string whole = readFile(url_);
    for (const std::string_view kind : {"00dc", "01wb"}) {
      std::size_t chunk = whole.find("movi");
      for (int skipped = 0; skipped < 10; ++skipped) {
        chunk = whole.find(kind, chunk + 1);
      }
      const auto damage = [&](std::size_t offset, const std::string& bytes) {
        writeFile(url_, std::string(whole).replace(chunk + offset, bytes.size(), bytes));
      };
      for (const std::string name : {"ZZZZ", "05dc"}) {
        damage(0, name);
        expectUnreadable();
      }
      for (const std::uint32_t size : {5000U, 0x7FFFFFFFU, 4U}) {
        SCOPED_TRACE(testing::Message() << kind << " " << size);
        damage(4, littleEndian32(size));
        if (kind == "00dc" && index == AVIIndex::whole) {
          expectContent(open());  // the index has the true sizes, and the pictures confirm them
        } else {
          expectUnreadable();
        }
      }
    }
  }
}

TEST_F(MovieTest, refusesWhatIsNoMovie) {
  for (const std::string& content :
       {std::string(), std::string("RIFF"), std::string("RIFF\x10\0\0\0WAVEfmt ", 16), std::string(4096, 'x'),
        std::string(4096, '\0'), std::string("RIFF\0\0\0\0AVI ", 12)}) {
    writeFile(url_, content);
    expectUnreadable();
  }
}

TEST_F(MovieTest, failsWithTheSystemsErrorWhereThereIsNoFile) {
  try {
    open();
    FAIL();
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), ENOENT);
  }
}

TEST_F(MovieTest, refusesAFolderAndAPipe) {
  std::filesystem::create_directory(url_.path());
  expectUnreadable();
  std::filesystem::remove(url_.path());
  ASSERT_EQ(mkfifo(url_.path().c_str(), 0600), 0);
  expectUnreadable();
}

TEST_F(MovieTest, opensNoOtherFileForAPlaylist) {
  write({});
  const FileURL list = folder_ / "list.avi";
  for (const std::string& content :
       {"#EXTM3U\n#EXTINF:1,\n" + url_.path() + "\n#EXT-X-ENDLIST\n",
        "ffconcat version 1.0\nfile " + url_.path(),
        std::string(
            "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 5004 RTP/AVP 26\n"),
        std::string("<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\"></MPD>")}) {
    writeFile(list, content);
    EXPECT_THROW(Movie{list}, MovieError);
  }
}

TEST_F(MovieTest, refusesTablesThatClaimMoreThanTheFileHolds) {
  write({});
  const FileURL plain = folder_ / "plain.mov";
  platformMovieExporter()->exportMovie(
      open(), {.destination = plain, .creationDate = std::nullopt, .fileLengthLimit = 1'000'000}, {});
  const std::string movie = readFile(plain);
  const auto claiming = [&](const std::string& table) {
    writeFile(url_, replacingAtoms(movie, "stsz", [&](std::string_view) { return table; }));
  };
  const std::string sizeOfEach("\0\0\0\0\0\0\0\1", 8);
  claiming(sizeOfEach + std::string("\x7F\xFF\xFF\xFF", 4));
  expectUnreadable();
  claiming(sizeOfEach + std::string("\x04\xC4\xB4\x00", 4));  // 80 million
  expectUnreadable();
  writeFile(url_, movie + atom("moof", atom("trun", std::string("\0\0\0\0\xFF\xFF\xFF\xFF", 8))));
  expectUnreadable();
  writeFile(url_, movie + atom("meta", atom("keys", std::string("\0\0\0\0\x1F\xFF\xFF\xFF", 8))));
  expectUnreadable();
  writeFile(url_, movie + atom("moov", atom("cmov", "compressed")));
  expectUnreadable();
  writeFile(url_, movie);
  expectContent(open());
}

TEST_F(MovieTest, stopsWhenCancelledBetweenTwoSamples) {
  write({.frames = 3000});
  const Movie movie = open();
  CancellationSource source;
  std::int64_t received = 0;
  const auto cancelAtFirst = [&](const MovieSampleBuffer& buffer) {
    received += buffer.sampleCount;
    source.cancel();
  };
  EXPECT_THROW(movie.readSamples(MediaType::video, 0, cancelAtFirst, source.token()), CancellationError);
  EXPECT_EQ(received, 1);
  EXPECT_THROW(Movie(url_, source.token()), CancellationError);
}

TEST_F(MovieTest, passesOnWhatTheReceiverThrows) {
  write({});
  const Movie movie = open();
  const auto fail = [](const MovieSampleBuffer&) { throw std::runtime_error("full"); };
  EXPECT_THROW(movie.readSamples(MediaType::video, 0, fail), std::runtime_error);
}

TEST_F(MovieTest, readsTheOpenedFileAlsoAfterItsNameIsGone) {
  write({});
  const Movie movie = open();
  std::filesystem::remove(url_.path());
  expectContent(movie);
}

TEST_F(MovieTest, failsWhereTheFileWasCutOffAfterItWasOpened) {
  TestClip clip;
  clip.header.index = AVIIndex::none;
  write(clip);
  const Movie movie = open();
  truncateFile(url_, 10);
  EXPECT_THROW(samplesOf(movie, MediaType::audio), MovieError);
}

}  // namespace tolvander::tests
