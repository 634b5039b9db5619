// Rewrapping and its proof take any file that opens, and end in success or in an error of their own.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/PayloadIdentity.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/Video/AVIExportProof.h"
#include "TolvanderCore/Video/VideoExportProof.h"

namespace {

using namespace tolvander;

constexpr std::int64_t lengthLimit = 4'194'304;

void rewrap(const FileURL& source, const FileURL& destination) {
  const Movie movie(source);
  const auto exporter = platformMovieExporter();
  if (!exporter->canExport(movie)) {
    return;
  }
  exporter->exportMovie(
      movie,
      {.destination = destination, .creationDate = "2026-11-15T19:13:17Z", .fileLengthLimit = lengthLimit},
      {});
  precondition(std::filesystem::file_size(destination.path()) <= lengthLimit, "within the limit");
  const Movie exported(destination);
  const std::optional<AVIExportProof> avi = AVIExportProof::forSource(movie, {});
  for (const MediaType type : {MediaType::video, MediaType::audio}) {
    if (avi) {
      avi->proveTracks(type, exported, {});
    } else {
      VideoExportProof::proveTracks(type, movie, exported, {});
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const std::string destination =
      (std::filesystem::temp_directory_path() / ("rewrap-fuzz-" + std::to_string(getpid()) + ".mov"))
          .string();
  const int file = memfd_create("input", MFD_CLOEXEC);
  precondition(write(file, bytes, size) == static_cast<ssize_t>(size), "the input fits into memory");
  try {
    rewrap(FileURL("/proc/self/fd/" + std::to_string(file)), FileURL(destination));
  } catch (const MovieError&) {
    // Refused, which is an answer.
  } catch (const CharmeraVideoProcessingError&) {
    // Not proven, which is one too.
  }
  unlink(destination.c_str());
  close(file);
  return 0;
}
