#include "TolvanderCore/Video/AVIExportProof.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <future>
#include <span>
#include <string_view>
#include <utility>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Video/VideoExportProof.h"

namespace tolvander {

namespace {

using Case = CharmeraVideoProcessingError::Case;

constexpr double frameRateTolerance = 0.1;

// The tolerance for times that were rounded to the ticks of a QuickTime track. Every frame is longer.
constexpr double timeTolerance = 0.001;

void require(bool holds) {
  if (!holds) {
    throw CharmeraVideoProcessingError(Case::invalidExport);
  }
}

bool areNear(double first, double second, double tolerance) { return std::abs(first - second) <= tolerance; }

std::uint32_t fourCharacters(std::string_view text) {
  std::uint32_t code = 0;
  for (const char character : text) {
    code = code << 8U | static_cast<unsigned char>(character);
  }
  return code;
}

// The QuickTime codes of the encodings.
std::uint32_t codecOf(const AVISoundFormat& format) {
  switch (format.encoding) {
    case AVISoundEncoding::pcm:
      return fourCharacters(format.bitsPerSample == 8 ? "raw " : "sowt");
    case AVISoundEncoding::aLaw:
      return fourCharacters("alaw");
    case AVISoundEncoding::muLaw:
      return fourCharacters("ulaw");
    case AVISoundEncoding::imaADPCM:
      return fourCharacters(std::string_view("ms\0\x11", 4));
    case AVISoundEncoding::microsoftADPCM:
      return fourCharacters(std::string_view("ms\0\x02", 4));
  }
  return 0;
}

// A track of the reading in the form in which a movie with the same samples has it.
struct ExpectedTrack {
  MovieTrack track;
  std::int64_t sampleCount = 0;
  std::uint64_t byteCount = 0;  // of whole samples
  std::span<const AVIChunk> chunks;
};

ExpectedTrack expectedTrack(const AVIVideoTrack& video) {
  ExpectedTrack expected{
      .track = {}, .sampleCount = static_cast<std::int64_t>(video.frames.size()), .chunks = video.frames};
  for (const AVIChunk& frame : video.frames) {
    expected.byteCount += frame.size;
  }
  expected.track.nominalFrameRate = static_cast<double>(video.rate) / video.scale;
  expected.track.duration = video.seconds(video.slots);
  // Other encodings have samples of another form in QuickTime and are not exported.
  if (video.isMotionJPEG) {
    expected.track.codecs = {fourCharacters("jpeg")};
  }
  return expected;
}

ExpectedTrack expectedTrack(const AVISoundTrack& sound) {
  const std::uint64_t units = sound.byteCount / sound.format.unitBytes;
  ExpectedTrack expected{.track = {},
                         .sampleCount = static_cast<std::int64_t>(units * sound.format.samplesPerUnit),
                         .byteCount = units * sound.format.unitBytes,
                         .chunks = sound.chunks};
  expected.track.duration = static_cast<double>(expected.sampleCount) / sound.format.sampleRate;
  expected.track.codecs = {codecOf(sound.format)};
  return expected;
}

std::vector<ExpectedTrack> expectedTracks(const AVIReading& reading, MediaType type) {
  std::vector<ExpectedTrack> tracks;
  if (type == MediaType::video) {
    for (const AVIVideoTrack& track : reading.video) {
      tracks.push_back(expectedTrack(track));
    }
  } else {
    for (const AVISoundTrack& track : reading.sound) {
      tracks.push_back(expectedTrack(track));
    }
  }
  return tracks;
}

bool sourceAgrees(const MovieTrack& expected, const MovieTrack& source) {
  return source.codecs == expected.codecs && areNear(source.start, expected.start, timeTolerance) &&
         areNear(source.duration, expected.duration, timeTolerance) &&
         areNear(source.nominalFrameRate, expected.nominalFrameRate, frameRateTolerance);
}

bool sourceAgrees(const AVIReading& reading, const Movie& source) {
  return std::ranges::all_of(std::array{MediaType::video, MediaType::audio}, [&](MediaType type) {
    return std::ranges::equal(expectedTracks(reading, type), source.tracks(type),
                              [](const ExpectedTrack& expected, const MovieTrack& track) {
                                return sourceAgrees(expected.track, track);
                              });
  });
}

// The digest of the track's bytes in the source.
PayloadIdentity payloadOf(const FileReader& file, const ExpectedTrack& expected,
                          const CancellationToken& token) {
  constexpr std::size_t bufferSize = 262'144;
  SHA256 hash;
  std::vector<std::byte> buffer(bufferSize);
  std::uint64_t left = expected.byteCount;
  for (const AVIChunk& chunk : expected.chunks) {
    const std::uint64_t wanted = std::min<std::uint64_t>(chunk.size, left);
    left -= wanted;
    for (std::uint64_t done = 0; done < wanted;) {
      token.throwIfCancelled();
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(wanted - done, bufferSize));
      const std::span<std::byte> piece = std::span(buffer).first(count);
      require(file.readAt(chunk.offset + done, piece) == count);  // otherwise the file has become shorter
      hash.update(piece);
      done += count;
    }
  }
  return {.codec = expected.track.codecs,
          .sampleCount = expected.sampleCount,
          .byteCount = static_cast<std::int64_t>(expected.byteCount),
          .digest = hash.finish()};
}

// Compares the frames of a movie one by one with those of the reading.
class FrameComparison {
 public:
  explicit FrameComparison(const AVIVideoTrack& video) : video_(video) {}

  void add(const MovieSampleBuffer& buffer) {
    require(next_ < video_.frames.size() && buffer.sampleCount == 1 && buffer.time.has_value());
    const AVIChunk& frame = video_.frames[next_++];
    require(buffer.bytes.size() == frame.size &&
            areNear(buffer.time->start, video_.seconds(slots_), timeTolerance) &&
            areNear(buffer.time->duration, video_.seconds(frame.slots), timeTolerance));
    slots_ += frame.slots;
  }

 private:
  const AVIVideoTrack& video_;
  std::size_t next_ = 0;
  std::uint32_t slots_ = 0;
};

PayloadIdentity exportedPayload(const AVIReading& reading, MediaType type, const Movie& exported,
                                std::size_t index, const CancellationToken& token) {
  if (type == MediaType::audio) {
    return PayloadIdentity::of(exported, type, index, token);
  }
  FrameComparison frames(reading.video[index]);
  return PayloadIdentity::of(exported, type, index, token,
                             [&](const MovieSampleBuffer& buffer) { frames.add(buffer); });
}

}  // namespace

AVIExportProof::AVIExportProof(std::unique_ptr<const FileReader> file, AVIReading reading)
    : file_(std::move(file)), reading_(std::move(reading)) {}

std::optional<AVIExportProof> AVIExportProof::forSource(const Movie& source, const CancellationToken& token) {
  try {
    auto file = std::make_unique<const FileReader>(source.url());
    if (!AVIReading::isAVI(*file)) {
      return std::nullopt;
    }
    AVIReading reading = AVIReading::of(*file, token);
    if (!sourceAgrees(reading, source)) {
      throw CharmeraVideoProcessingError(Case::invalidVideo);
    }
    return AVIExportProof(std::move(file), std::move(reading));
  } catch (const Error&) {
    token.throwIfCancelled();
    throw CharmeraVideoProcessingError(Case::invalidVideo);
  }
}

std::vector<PayloadIdentity> AVIExportProof::proveTracks(MediaType type, const Movie& exported,
                                                         const CancellationToken& token) const {
  try {
    const std::vector<ExpectedTrack> expected = expectedTracks(reading_, type);
    const std::vector<MovieTrack>& tracks = exported.tracks(type);
    require(tracks.size() == expected.size());
    std::vector<PayloadIdentity> identities;
    for (std::size_t index = 0; index < expected.size(); ++index) {
      require(VideoExportProof::timeRangeAgrees(expected[index].track, tracks[index]) &&
              areNear(tracks[index].nominalFrameRate, expected[index].track.nominalFrameRate,
                      frameRateTolerance));
      // In parallel, because hashing takes most of the time of a rewrap.
      auto sourcePayload =
          std::async(std::launch::async, [&] { return payloadOf(*file_, expected[index], token); });
      identities.push_back(exportedPayload(reading_, type, exported, index, token));
      require(sourcePayload.get() == identities.back());
    }
    return identities;
  } catch (const Error&) {
    token.throwIfCancelled();
    throw CharmeraVideoProcessingError(Case::invalidExport);
  }
}

}  // namespace tolvander
