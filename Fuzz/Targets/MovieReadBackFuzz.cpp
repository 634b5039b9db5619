// A movie that opens is read back to its end or refused, and its samples are no more than its file has bytes
// for.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Platform/Movie.h"

namespace {

using namespace tolvander;

void readBack(const FileURL& url) {
  const Movie movie(url);
  for (const MediaType type : {MediaType::video, MediaType::audio}) {
    for (std::size_t index = 0; index < movie.tracks(type).size(); ++index) {
      precondition(movie.tracks(type)[index].codecs.size() == 1, "a track has its encoding");
      std::int64_t samples = 0;
      movie.readSamples(type, index, [&](const MovieSampleBuffer& buffer) {
        precondition(buffer.sampleCount > 0 && !buffer.bytes.empty(), "no buffer without samples");
        samples += buffer.sampleCount;
      });
      precondition(samples > 0, "no track without samples");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const int file = memfd_create("input", MFD_CLOEXEC);
  precondition(write(file, bytes, size) == static_cast<ssize_t>(size), "the input fits into memory");
  try {
    readBack(FileURL("/proc/self/fd/" + std::to_string(file)));
  } catch (const MovieError&) {
    // Refused, which is an answer.
  }
  close(file);
  return 0;
}
