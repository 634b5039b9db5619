#include "Tests/Support/Media/AVIReaders.h"

#include <cmath>
#include <span>

#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/Video/AVIReading.h"

namespace tolvander::tests {

namespace {

std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<std::string> framesOf(const Movie& movie, std::size_t index) {
  const double slotsPerSecond = movie.tracks(MediaType::video)[index].nominalFrameRate;
  std::vector<std::string> shown;
  movie.readSamples(MediaType::video, index, [&](const MovieSampleBuffer& sample) {
    const auto slots = std::lround(sample.time.value().duration * slotsPerSecond);
    shown.insert(shown.end(), static_cast<std::size_t>(slots), textOf(sample.bytes));
  });
  return shown;
}

std::string soundOf(const Movie& movie, std::size_t index) {
  std::string sound;
  movie.readSamples(MediaType::audio, index,
                    [&](const MovieSampleBuffer& sample) { sound += textOf(sample.bytes); });
  return sound;
}

std::string bytesAt(const FileReader& file, const AVIChunk& chunk) {
  std::string bytes(chunk.size, '\0');
  bytes.resize(file.readAt(chunk.offset, std::as_writable_bytes(std::span(bytes))));
  return bytes;
}

}  // namespace

std::optional<SeenAVI> seenByMovie(const FileURL& url) {
  try {
    const Movie movie(url);
    SeenAVI seen;
    for (std::size_t index = 0; index < movie.tracks(MediaType::video).size(); ++index) {
      seen.video.push_back(framesOf(movie, index));
    }
    for (std::size_t index = 0; index < movie.tracks(MediaType::audio).size(); ++index) {
      seen.sound.push_back(soundOf(movie, index));
    }
    return seen;
  } catch (const MovieError&) {
    return std::nullopt;
  }
}

std::optional<SeenAVI> seenByAVIReading(const FileURL& url) {
  try {
    const FileReader file(url);
    const AVIReading reading = AVIReading::of(file);
    SeenAVI seen;
    for (const AVIVideoTrack& track : reading.video) {
      std::vector<std::string>& shown = seen.video.emplace_back();
      for (const AVIChunk& frame : track.frames) {
        shown.insert(shown.end(), frame.slots, bytesAt(file, frame));
      }
    }
    for (const AVISoundTrack& track : reading.sound) {
      std::string& sound = seen.sound.emplace_back();
      for (const AVIChunk& chunk : track.chunks) {
        sound += bytesAt(file, chunk);
      }
      sound.resize(sound.size() - sound.size() % track.format.unitBytes);
    }
    return seen;
  } catch (const MovieError&) {
    return std::nullopt;
  }
}

}  // namespace tolvander::tests
