// What the engine's own reader accepts lies within the file, and is what the feeding reader hands over where
// that one accepts the file too.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/Video/AVIReading.h"

namespace {

using namespace tolvander;

using Input = std::span<const std::byte>;

Input bytesOf(const AVIChunk& chunk, Input input) {
  precondition(chunk.size >= 1 && chunk.offset <= input.size() && chunk.size <= input.size() - chunk.offset,
               "the chunk lies within the file");
  return input.subspan(chunk.offset, chunk.size);
}

void compareVideo(const AVIVideoTrack& track, const Movie& movie, std::size_t index, Input input) {
  std::size_t frame = 0;
  std::uint64_t slot = 0;
  movie.readSamples(MediaType::video, index, [&](const MovieSampleBuffer& sample) {
    precondition(frame < track.frames.size(), "the feed has no more frames");
    const AVIChunk& chunk = track.frames[frame++];
    precondition(std::ranges::equal(sample.bytes, bytesOf(chunk, input)), "the frame's bytes");
    const double tolerance = 1e-6 * track.scale / track.rate + 1e-9;
    precondition(
        std::abs(sample.time.value().start - track.seconds(static_cast<std::uint32_t>(slot))) <= tolerance,
        "the frame's start");
    precondition(std::abs(sample.time.value().duration - track.seconds(chunk.slots)) <= tolerance,
                 "the frame's duration");
    slot += chunk.slots;
  });
  precondition(frame == track.frames.size(), "the feed has no fewer frames");
  precondition(slot == track.slots, "the number of slots");
}

void compareSound(const AVISoundTrack& track, const Movie& movie, std::size_t index, Input input) {
  std::vector<std::byte> expected;
  for (const AVIChunk& chunk : track.chunks) {
    const Input bytes = bytesOf(chunk, input);
    expected.insert(expected.end(), bytes.begin(), bytes.end());
  }
  precondition(expected.size() == track.byteCount, "the number of bytes");
  expected.resize(expected.size() - expected.size() % track.format.unitBytes);
  std::vector<std::byte> fed;
  movie.readSamples(MediaType::audio, index, [&](const MovieSampleBuffer& sample) {
    fed.insert(fed.end(), sample.bytes.begin(), sample.bytes.end());
  });
  precondition(fed == expected, "the sound");
}

void compare(const AVIReading& reading, const FileURL& url, Input input) {
  const Movie movie(url);
  precondition(movie.tracks(MediaType::video).size() == reading.video.size(), "video tracks");
  precondition(movie.tracks(MediaType::audio).size() == reading.sound.size(), "audio tracks");
  for (std::size_t index = 0; index < reading.video.size(); ++index) {
    compareVideo(reading.video[index], movie, index, input);
  }
  for (std::size_t index = 0; index < reading.sound.size(); ++index) {
    compareSound(reading.sound[index], movie, index, input);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const int file = memfd_create("input", MFD_CLOEXEC);
  precondition(write(file, bytes, size) == static_cast<ssize_t>(size), "the input fits into memory");
  try {
    const FileURL url("/proc/self/fd/" + std::to_string(file));
    compare(AVIReading::of(FileReader(url)), url, std::as_bytes(std::span(bytes, size)));
  } catch (const MovieError&) {
    // Refused, which is an answer.
  }
  close(file);
  return 0;
}
