#pragma once

#include <functional>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::app {

// Gives camera files the identities by which they are recognised. Reads every file whole, once (videos that
// can be opened as movies twice), on two threads, since hashing is what it costs.
class MediaFingerprintStage {
 public:
  MediaFingerprintStage() = delete;

  // Called with the file that the stage fails with, before the failure is thrown.
  using FailedFile = std::function<void(const CameraMediaFile& file)>;

  // One result for each file, in the files' order. Only a Charmera's JPEGs get a payload fingerprint, and
  // only those that are small enough to be repaired. Blocks. Holds at most two pictures in memory: whole ones
  // of a Charmera, of others what PictureHead keeps. Looks for cancellation before each file and while it
  // reads.
  //
  // Fails as a whole, with the failure of the first file, in their order, that has one: PosixError where a
  // file can't be read, MediaStagingError::sourceChanged where one changes its size while it is read,
  // CharmeraVideoProcessingError for an AVI that can't be opened as a movie, which could not be converted
  // later either, and CancellationError.
  static std::vector<FingerprintedMediaFile> fingerprint(const std::vector<CameraMediaFile>& files,
                                                         bool confidentlyRecognizedAsCharmera,
                                                         const CancellationToken& token,
                                                         const TimeZone& timeZone = TimeZone::current(),
                                                         const FailedFile& failedFile = {});
};

}  // namespace tolvander::app
