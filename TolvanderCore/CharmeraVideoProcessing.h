#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Whether a processor can convert videos.
enum class CharmeraVideoSupportStatus {
  requiresSanitizedFixture,  // it can't: transcode always throws fixtureValidationRequired
  available,                 // it can
};

// What is known of a video before it is converted.
struct CharmeraVideoProbe {
  CharmeraVideoSupportStatus supportStatus = CharmeraVideoSupportStatus::requiresSanitizedFixture;

  // SHA-256 of the source's bytes, lower-case hexadecimal.
  std::string sourceFingerprint;

  // The name of the movie that transcode would be asked for; a name without a path.
  std::string proposedOutputFilename;

  // When the video was taken: the source's modification date, if it was given.
  std::optional<Date> captureDate;

  friend bool operator==(const CharmeraVideoProbe&, const CharmeraVideoProbe&) = default;
};

// Converts the camera's AVI videos to movies that the library accepts. Stateless and safe on every thread.
// The source is always a staged copy, never the file on the camera.
class CharmeraVideoProcessing {
 public:
  virtual ~CharmeraVideoProcessing() = default;

  virtual CharmeraVideoSupportStatus supportStatus() const = 0;

  // Examines a video and writes nothing. Blocks; reads the whole file. Throws CharmeraVideoProcessingError,
  // PosixError if the file can't be read, and CancellationError.
  virtual CharmeraVideoProbe probe(const FileURL& sourceURL, std::optional<Date> sourceModificationDate,
                                   const CancellationToken& token) const = 0;

  // Creates the movie at `destinationURL`, where no file may exist. Blocks. When it returns, the movie has
  // been compared with the source and holds the same samples. On failure, no file is left. Throws
  // CharmeraVideoProcessingError, PosixError if the source can't be read, and CancellationError. The movie
  // need not survive a power loss.
  virtual void transcode(const FileURL& sourceURL, const FileURL& destinationURL,
                         const CancellationToken& token) const = 0;

 protected:
  CharmeraVideoProcessing() = default;
  CharmeraVideoProcessing(const CharmeraVideoProcessing&) = default;
  CharmeraVideoProcessing& operator=(const CharmeraVideoProcessing&) = default;
};

}  // namespace tolvander
