// What the engine reads of an AVI lies within the file, goes upward, and is as long as it says.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/Video/AVIReading.h"

namespace {

using namespace tolvander;

// Chunks of one track, which don't overlap. Returns the sum of their slots.
std::uint64_t check(const std::vector<AVIChunk>& chunks, std::size_t fileSize) {
  precondition(!chunks.empty() && chunks.size() <= AVIReading::maximumChunks, "number of chunks");
  std::uint64_t end = 0;
  std::uint64_t slots = 0;
  for (const AVIChunk& chunk : chunks) {
    precondition(chunk.offset >= end && chunk.size > 0 && chunk.slots > 0, "chunks go upward");
    end = chunk.offset + chunk.size;
    slots += chunk.slots;
  }
  precondition(end <= fileSize, "chunks lie in the file");
  return slots;
}

void read(const FileURL& url, std::size_t size) {
  const AVIReading reading = AVIReading::of(FileReader(url));
  precondition(!reading.video.empty(), "there is video");
  for (const AVIVideoTrack& video : reading.video) {
    precondition(check(video.frames, size) == video.slots && video.seconds(video.slots) > 0, "slots");
  }
  for (const AVISoundTrack& sound : reading.sound) {
    check(sound.chunks, size);
    precondition(sound.byteCount >= sound.format.unitBytes && sound.format.unitBytes > 0, "samples");
    precondition(sound.format.samplesPerUnit > 0 && sound.format.sampleRate > 0, "sound format");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const int file = memfd_create("input", MFD_CLOEXEC);
  precondition(write(file, bytes, size) == static_cast<ssize_t>(size), "the input fits into memory");
  try {
    read(FileURL("/proc/self/fd/" + std::to_string(file)), size);
  } catch (const MovieError& error) {
    precondition(error.kind() == MovieError::Case::unreadable, "the one failure");
  }
  close(file);
  return 0;
}
