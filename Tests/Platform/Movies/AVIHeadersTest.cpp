#include "Platform/Linux/Movies/AVIHeaders.h"

#include "Platform/Linux/Movies/AVIParameters.h"
#include "Tests/Platform/Movies/AVIReaderFixture.h"

namespace tolvander::tests {

namespace {

using namespace platform::linux_;

class AVIHeadersTest : public AVIReaderFixture {
 protected:
  AVIHeaders headers(const std::string& bytes) {
    write(bytes);
    const auto opened = file();
    AVIBytes reader(opened, token_);
    return readAVIHeaders(reader);
  }
  AVIHeaders headers(const SmallAVI& avi) { return headers(avi.bytes()); }

  void expectNoHeaders(const std::string& bytes) { EXPECT_THROW(headers(bytes), MovieError); }

  CodecParametersPointer sound(const SmallAVI& avi) { return aviParameters(headers(avi).streams.at(1)); }
};

std::string waveFormat(unsigned tag, unsigned channels, std::uint32_t rate, std::uint32_t bytesPerSecond,
                       unsigned block, unsigned bits) {
  return little16(tag) + little16(channels) + little32(rate) + little32(bytesPerSecond) + little16(block) +
         little16(bits);
}

SmallAVI withSound(const std::string& format) {
  SmallAVI avi = SmallAVI::plain();
  avi.soundFormat = format;
  return avi;
}

}  // namespace

TEST_F(AVIHeadersTest, tellStreamsRatesAndCounts) {
  SmallAVI avi = SmallAVI::plain();
  avi.rate = 30'000;
  avi.scale = 1'001;
  avi.streamFrames = 7;
  avi.movieFrames = 9;
  const AVIHeaders read = headers(avi);
  ASSERT_EQ(read.streams.size(), 2);
  EXPECT_EQ(read.streams[0].type, AVIStreamType::video);
  EXPECT_EQ(read.streams[0].rate, 30'000);
  EXPECT_EQ(read.streams[0].scale, 1'001);
  EXPECT_EQ(read.streams[0].length, 7);
  EXPECT_EQ(read.frames, 9);
  EXPECT_EQ(read.streams[1].type, AVIStreamType::audio);
  EXPECT_EQ(read.streams[1].length, 6);
  EXPECT_EQ(read.movie.offset, static_cast<std::int64_t>(bytes_.find("movi")) - 8);
}

TEST_F(AVIHeadersTest, takeTheExtendedCountInsteadOfTheMainHeaders) {
  SmallAVI avi = SmallAVI::plain();
  avi.extendedFrames = 11;
  EXPECT_EQ(headers(avi).frames, 11);
}

TEST_F(AVIHeadersTest, takeTheRateOfTheMainHeaderWhereTheStreamHasNone) {
  for (const auto& [rate, scale] : {std::pair(0U, 1U), std::pair(30U, 0U)}) {
    SmallAVI avi = SmallAVI::plain();
    avi.rate = rate;
    avi.scale = scale;
    avi.microsecondsPerFrame = 40'000;
    EXPECT_EQ(headers(avi).streams[0].rate, 1'000'000);
    EXPECT_EQ(headers(avi).streams[0].scale, 40'000);
    avi.microsecondsPerFrame = 0;
    expectNoHeaders(avi.bytes());
  }
}

TEST_F(AVIHeadersTest, refuseStreamsThatCannotBeTold) {
  SmallAVI avi = SmallAVI::plain();
  avi.soundType = "iavs";
  expectNoHeaders(avi.bytes());
  expectNoHeaders(withSound("").bytes());
  expectNoHeaders(withSound("thirteen byte").bytes());
  const std::string whole = SmallAVI::plain().bytes();
  expectNoHeaders(std::string(whole).replace(whole.find("strf"), 4, "JUNK"));
  expectNoHeaders(std::string(whole).replace(whole.find("movi"), 4, "move"));
  expectNoHeaders(whole.substr(0, whole.find("movi") - 4));
}

TEST_F(AVIHeadersTest, refuseMoreThanAHundredStreams) {
  const std::string whole = SmallAVI::plain().bytes();
  const std::size_t place = whole.find("LIST", whole.find("avih"));
  const auto with = [&](int count) {
    std::string streams;
    for (int stream = 0; stream < count; ++stream) {
      streams += riffChunk("strh", "txts" + std::string(52, '\0'));
    }
    return std::string(whole).insert(place, streams);
  };
  EXPECT_EQ(headers(with(98)).streams.size(), 100);
  expectNoHeaders(with(99));
}

TEST_F(AVIHeadersTest, takeTheEncodingOfTheStreamsHeaderWhereTheFormatHasNone) {
  SmallAVI avi = SmallAVI::plain();
  avi.videoFormat = std::string(4, '\0');
  EXPECT_EQ(aviParameters(headers(avi).streams[0])->codec_id, AV_CODEC_ID_MJPEG);
  avi.videoHandler = "H264";
  EXPECT_EQ(aviParameters(headers(avi).streams[0])->codec_id, AV_CODEC_ID_H264);
  avi.videoFormat = "MJPG";
  EXPECT_EQ(aviParameters(headers(avi).streams[0])->codec_id, AV_CODEC_ID_MJPEG);
}

TEST_F(AVIHeadersTest, tellTheShapeOfPixels) {
  AVIStreamHeader header;
  header.properties = std::string(20, '\0') + little16(9) + little16(16) + little32(720) + little32(576);
  EXPECT_EQ(av_q2d(aviPixelShape(header)), 64.0 / 45);
  header.properties.clear();
  EXPECT_EQ(aviPixelShape(header).num, 0);
}

TEST_F(AVIHeadersTest, tellTheParametersOfSound) {
  struct Expectation {
    std::string format;
    AVCodecID codec;
  };
  const std::string guidEnd("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);
  const std::string extension = little16(22) + little16(16) + little32(0) + little16(1) + guidEnd;
  for (const Expectation& expected :
       {Expectation{waveFormat(1, 1, 8000, 16'000, 2, 16), AV_CODEC_ID_PCM_S16LE},
        {waveFormat(1, 2, 8000, 16'000, 2, 8), AV_CODEC_ID_PCM_U8},
        {waveFormat(1, 1, 8000, 24'000, 3, 24), AV_CODEC_ID_PCM_S24LE},
        {waveFormat(3, 1, 8000, 0, 4, 32), AV_CODEC_ID_PCM_F32LE},
        {waveFormat(0xFFFE, 1, 8000, 16'000, 2, 16) + extension, AV_CODEC_ID_PCM_S16LE},
        {waveFormat(2, 1, 8000, 4'000, 256, 4), AV_CODEC_ID_ADPCM_MS},
        {waveFormat(0x11, 1, 8000, 4'000, 256, 4), AV_CODEC_ID_ADPCM_IMA_WAV},
        {waveFormat(7, 1, 8000, 0, 1, 8), AV_CODEC_ID_PCM_MULAW},
        {waveFormat(0x55, 2, 44'100, 0, 1, 0), AV_CODEC_ID_MP3}}) {
    const auto parameters = sound(withSound(expected.format));
    ASSERT_TRUE(parameters) << expected.codec;
    EXPECT_EQ(parameters->codec_id, expected.codec);
  }
}

TEST_F(AVIHeadersTest, giveNoParametersForDamagedSound) {
  for (const std::string& format :
       {waveFormat(0x1234, 1, 8000, 16'000, 2, 16),  // no such encoding
        waveFormat(1, 0, 8000, 16'000, 2, 16), waveFormat(1, 1, 0, 0, 2, 16),
        waveFormat(1, 1, 8000, 16'000, 2, 12), waveFormat(2, 1, 8000, 4'000, 0, 4),
        waveFormat(1, 1, 9000, 16'000, 2, 16)}) {
    EXPECT_FALSE(sound(withSound(format)));
    expectRefused(withSound(format), "the header of a stream is damaged");
  }
  // Of PCM, one witness for the sample rate is enough: 8000 in strh, or the bytes a second.
  EXPECT_TRUE(sound(withSound(waveFormat(1, 1, 8000, 1, 2, 16))));
  EXPECT_TRUE(sound(withSound(waveFormat(1, 1, 9000, 18'000, 2, 16))));
}

}  // namespace tolvander::tests
