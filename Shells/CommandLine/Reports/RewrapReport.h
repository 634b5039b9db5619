#pragma once

#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/ProvenMovie.h"

namespace tolvander::app {

// What was proven of a movie that a video was rewrapped as.
struct RewrapReport {
  FileURL sourceURL;
  FileURL movieURL;
  ProvenMovie proven;

  // Makes the movie, where nothing may be yet; on failure nothing is left there. Links to the source are
  // followed. Blocks. Throws CharmeraVideoProcessingError, PosixError where the source can't be looked at,
  // and CancellationError.
  static RewrapReport of(const FileURL& sourceURL, const FileURL& movieURL, const CancellationToken& token);

  // For people, with line ends.
  std::string text() const;

  // For programs: one object with
  //  - "source" and "movie": paths;
  //  - "pixelWidth" and "pixelHeight";
  //  - "duration": seconds;
  //  - "frameRate": frames a second, of the first video track;
  //  - "captureDate": the date that the movie carries (ISO 8601, UTC, whole seconds; missing without one);
  //  - "tracks": the video tracks, then the audio tracks, each in the file's order and with "type" ("video",
  //    "audio"), "codecs" (four-character codes, one with other than printable ASCII as "0x" and 8 digits),
  //    "sampleCount", "byteCount" (of all samples), and "sha256" (of their bytes, in their order).
  std::string json() const;
};

}  // namespace tolvander::app
