#pragma once

#include <cstdint>
#include <optional>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {

// What the engine checks of a video before it imports it.
struct VideoMediaMetadata {
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  double duration = 0;   // seconds
  double frameRate = 0;  // frames per second
  bool hasAudio = false;
  std::optional<Date> captureDate;

  // Reads the whole file once. Every value comes from the samples and not from the headers' claims. Throws
  // CancellationError, and CharmeraVideoProcessingError::invalidVideo if the file can't be read, has no video
  // track, or exceeds the limits: 1 to 8192 pixels in width and height, more than 0 and at most 7200 seconds,
  // and more than 0 and at most 240 frames per second.
  static VideoMediaMetadata load(const FileURL& url, const CancellationToken& token = {});

  // The same for a movie that is already open.
  static VideoMediaMetadata load(const Movie& movie);

  friend bool operator==(const VideoMediaMetadata&, const VideoMediaMetadata&) = default;
};

// Opens a video. Throws CharmeraVideoProcessingError::invalidVideo if it can't be read, and
// CancellationError.
Movie openVideo(const FileURL& url, const CancellationToken& token);

}  // namespace tolvander
