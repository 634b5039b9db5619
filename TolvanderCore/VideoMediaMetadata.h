#pragma once

#include <cstdint>
#include <optional>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {

// What the engine has to know of a video before it lets it go to the library.
struct VideoMediaMetadata {
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  double duration = 0;   // seconds
  double frameRate = 0;  // frames a second
  bool hasAudio = false;
  std::optional<Date> captureDate;

  // Reads the whole file once. Every value comes from the samples, not from what a header claims of them.
  // Throws CharmeraVideoProcessingError::invalidVideo where there is no video track, where the file can't be
  // read, and beyond the limits: 1 to 8192 pixels each way, more than 0 and at most 7200 seconds, more than 0
  // and at most 240 frames a second. Throws CancellationError.
  static VideoMediaMetadata load(const FileURL& url, const CancellationToken& token = {});

  // The same of a movie that is open already.
  static VideoMediaMetadata load(const Movie& movie);

  friend bool operator==(const VideoMediaMetadata&, const VideoMediaMetadata&) = default;
};

// Opens a video. Throws CharmeraVideoProcessingError::invalidVideo where it can't be read, for whatever
// reason, and CancellationError.
Movie openVideo(const FileURL& url, const CancellationToken& token);

}  // namespace tolvander
