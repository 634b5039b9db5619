#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

enum class CharmeraVideoSupportStatus {
  requiresSanitizedFixture,  // this processor never converts
  available,
};

struct CharmeraVideoProbe {
  CharmeraVideoSupportStatus supportStatus = CharmeraVideoSupportStatus::requiresSanitizedFixture;
  std::string sourceFingerprint;
  std::string proposedOutputFilename;
  std::optional<Date> captureDate;

  friend bool operator==(const CharmeraVideoProbe&, const CharmeraVideoProbe&) = default;
};

// Turns the camera's AVI videos into movies that the library accepts. Processors are stateless values, safe
// to share between threads. The source is a staged copy, never the file on the camera.
class CharmeraVideoProcessing {
 public:
  virtual ~CharmeraVideoProcessing() = default;

  virtual CharmeraVideoSupportStatus supportStatus() const = 0;

  // What is to be expected of a video, without making anything. Blocks; reads the whole file. Throws
  // CharmeraVideoProcessingError, PosixError where the file can't be looked at or hashed, CancellationError.
  virtual CharmeraVideoProbe probe(const FileURL& sourceURL, std::optional<Date> sourceModificationDate,
                                   const CancellationToken& token) const = 0;

  // Makes the movie at `destinationURL`, where nothing may be. Blocks. Returns only with a movie that was
  // proven to hold the source's samples; on every failure nothing is left there. Throws
  // CharmeraVideoProcessingError, PosixError where the source can't be looked at, CancellationError. Not made
  // durable: a staged file needn't survive a power loss.
  virtual void transcode(const FileURL& sourceURL, const FileURL& destinationURL,
                         const CancellationToken& token) const = 0;

 protected:
  CharmeraVideoProcessing() = default;
  CharmeraVideoProcessing(const CharmeraVideoProcessing&) = default;
  CharmeraVideoProcessing& operator=(const CharmeraVideoProcessing&) = default;
};

}  // namespace tolvander
