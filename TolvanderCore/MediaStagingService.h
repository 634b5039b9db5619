#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/CharmeraVideoProcessing.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Concurrency/FairMutex.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/MediaStagingError.h"
#include "TolvanderCore/NativeCharmeraVideoProcessor.h"
#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/Platform/StandardDirectories.h"
#include "TolvanderCore/PreparedMediaFile.h"

namespace tolvander {

// Makes the private copies that the photo library reads in the camera's place: exact ones, repaired ones of a
// Charmera's JPEGs, rewrapped ones of its videos. A batch lies in a folder of its own, with a folder for each
// file, so that two files of one name never meet and each has the camera's name for it. The camera's files
// are only read.
//
// Nothing of a batch outlives its use, and what a crash leaves is gone after the next start that finds it a
// day old. Staged files appear whole; they are not made durable, since they are made again after a power
// loss.
//
// A serialised owner: safe on every thread, one operation at a time, first come first served. Its turn is
// open to others while a video is being rewrapped and while the caller works on a batch. Every operation
// blocks.
class MediaStagingService {
 public:
  // Below the user's application data, or below the folder for temporary files where there is none.
  static FileURL defaultRootDirectory(const StandardDirectories& directories);

  explicit MediaStagingService(
      FileURL rootDirectory = defaultRootDirectory(StandardDirectories::current()),
      std::shared_ptr<const CharmeraVideoProcessing> videoProcessor =
          std::make_shared<NativeCharmeraVideoProcessor>(),
      std::int64_t maximumVideoBytes = NativeCharmeraVideoProcessor::maximumSourceBytes);

  const FileURL& rootDirectory() const { return rootDirectory_; }

  // Told which file of a batch it is that can't be staged, before the failure is thrown.
  using FailedFile = std::function<void(const CameraMediaFile& file)>;

  // Stages the files as one batch, sorted by capture date, undated ones last, then by relative path as a file
  // manager sorts. One bad file fails the whole batch, whose folder is then removed. A file that isn't
  // altered is hashed, copied and dated in one pass, in memory of a chunk and of what PictureHead keeps of a
  // picture.
  //
  // Throws MediaStagingError (sourceChanged where a file grows or shrinks while it is read, or has not the
  // size that it says), MediaProcessingError (pictureTooLarge for a picture of more bytes than are repaired),
  // CharmeraVideoProcessingError, PosixError (ENOSPC before a byte is copied, where a file can't have room),
  // and CancellationError, looked for before each file and for each chunk of it.
  PreparedMediaBatch prepare(const std::vector<CameraMediaFile>& files, bool confidentlyRecognizedAsCharmera,
                             const TimeZone& timeZone, const CancellationToken& token = {},
                             const FailedFile& failedFile = {});

  // Stages, calls `operation` with the batch, removes the batch, and returns what the operation returned. An
  // error of the operation goes before one of the removal; a removal that fails after a success is tried
  // again and is an error, so that the caller knows of staged files that were left.
  template <typename Operation>
  auto withPreparedBatch(const std::vector<CameraMediaFile>& files, bool confidentlyRecognizedAsCharmera,
                         const TimeZone& timeZone, const Operation& operation,
                         const CancellationToken& token = {}, const FailedFile& failedFile = {});

  // Removes a batch; one that is gone already is no error. Throws MediaStagingError::invalidStagingLocation
  // for a folder that isn't below the root, and PosixError.
  void cleanup(const PreparedMediaBatch& batch);

  // Removes the folders in the root that were last changed at least `age` before `now`, and returns how many.
  // Throws PosixError at the first that can't be looked at or removed, and invalidStagingLocation where the
  // root is a link.
  int cleanupAbandoned(std::chrono::seconds age, Date now);

  // Whether a batch holds exactly the files that were examined: as many, each with the source fingerprint
  // that its camera file had then. Throws MediaStagingError::sourceChanged.
  static void validateSourceIdentities(const PreparedMediaBatch& batch,
                                       const std::vector<FingerprintedMediaFile>& files);

  // When a picture says that it was taken, by its Exif block read as a clock in `timeZone`. Absent where it
  // doesn't say it properly. Throws CancellationError within 100 ms of a cancellation.
  static std::optional<Date> captureDate(std::span<const std::byte> bytes, const TimeZone& timeZone,
                                         const CancellationToken& token = {});

 private:
  struct Batch;

  void ensureRootDirectory() const;
  void prepareFiles(Batch& batch, const std::vector<CameraMediaFile>& files, const FailedFile& failedFile);
  PreparedMediaFile prepareFile(Batch& batch, const CameraMediaFile& file) const;
  PreparedMediaFile prepareRepaired(const Batch& batch, const CameraMediaFile& file) const;
  PreparedMediaFile prepareUnaltered(const Batch& batch, const CameraMediaFile& file) const;
  PreparedMediaFile prepareVideo(Batch& batch, const CameraMediaFile& file) const;
  void cleanupIgnoringErrors(const PreparedMediaBatch& batch) noexcept;

  FairMutex mutex_;
  const FileURL rootDirectory_;
  const std::shared_ptr<const CharmeraVideoProcessing> videoProcessor_;
  const std::int64_t maximumVideoBytes_;
};

template <typename Operation>
auto MediaStagingService::withPreparedBatch(const std::vector<CameraMediaFile>& files,
                                            bool confidentlyRecognizedAsCharmera, const TimeZone& timeZone,
                                            const Operation& operation, const CancellationToken& token,
                                            const FailedFile& failedFile) {
  const PreparedMediaBatch batch =
      prepare(files, confidentlyRecognizedAsCharmera, timeZone, token, failedFile);
  // Until the operation has succeeded, its own error is the one that counts.
  struct Cleanup {
    MediaStagingService& service;
    const PreparedMediaBatch& batch;
    bool isPending = true;

    ~Cleanup() {
      if (isPending) {
        service.cleanupIgnoringErrors(batch);
      }
    }
    void now() {
      service.cleanup(batch);
      isPending = false;
    }
  } cleanup{*this, batch};

  if constexpr (std::is_void_v<decltype(operation(batch))>) {
    operation(batch);
    cleanup.now();
  } else {
    auto result = operation(batch);
    cleanup.now();
    return result;
  }
}

}  // namespace tolvander
