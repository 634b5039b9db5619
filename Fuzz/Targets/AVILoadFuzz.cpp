// A video that loads is within the limits, whatever its headers say.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/VideoMediaMetadata.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace tolvander;
  const int file = memfd_create("input", MFD_CLOEXEC);
  precondition(write(file, bytes, size) == static_cast<ssize_t>(size), "the input fits into memory");
  try {
    const VideoMediaMetadata metadata =
        VideoMediaMetadata::load(FileURL("/proc/self/fd/" + std::to_string(file)));
    precondition(metadata.pixelWidth >= 1 && metadata.pixelWidth <= 8192, "width");
    precondition(metadata.pixelHeight >= 1 && metadata.pixelHeight <= 8192, "height");
    precondition(metadata.duration > 0 && metadata.duration <= 7200, "duration");
    precondition(metadata.frameRate > 0 && metadata.frameRate <= 240, "frame rate");
  } catch (const CharmeraVideoProcessingError& error) {
    precondition(error.kind() == CharmeraVideoProcessingError::Case::invalidVideo, "the one failure");
  }
  close(file);
  return 0;
}
