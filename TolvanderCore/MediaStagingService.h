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

// Makes private copies of camera files for import into the photo library: repaired copies of a Charmera's
// JPEGs, rewrapped copies of its videos, and exact copies of all other files. The camera's files are only
// read.
//
// Each batch has its own folder, with one folder for each file, so that every copy can have the camera's name
// for it. The folder is removed after use. Folders that a crash left are removed by cleanupAbandoned. Staged
// files appear complete or not at all. They need not survive a power loss, after which they are made again.
//
// Safe on every thread: operations run one at a time, in the order in which they were called, but other
// operations may run while a video is being rewrapped and while the caller works on a batch. Every operation
// blocks.
class MediaStagingService {
 public:
  // A folder in the user's application data, or in the temporary folder if there is none.
  static FileURL defaultRootDirectory(const StandardDirectories& directories);

  explicit MediaStagingService(
      FileURL rootDirectory = defaultRootDirectory(StandardDirectories::current()),
      std::shared_ptr<const CharmeraVideoProcessing> videoProcessor =
          std::make_shared<NativeCharmeraVideoProcessor>(),
      std::int64_t maximumVideoBytes = NativeCharmeraVideoProcessor::maximumSourceBytes);

  const FileURL& rootDirectory() const { return rootDirectory_; }

  // Called with the file that can't be staged, before the failure is thrown.
  using FailedFile = std::function<void(const CameraMediaFile& file)>;

  // Stages the files as one batch, sorted by capture date (files without a date last) and then by relative
  // path as a file manager sorts. If one file fails, the whole batch fails and its folder is removed. An
  // unaltered file is hashed, copied and searched for its date in one pass; the memory needed is one chunk
  // and a PictureHead.
  //
  // Throws MediaStagingError (sourceChanged if a file's size changes while it is read, or differs from the
  // size in its directory entry), MediaProcessingError (pictureTooLarge for a picture of more bytes than are
  // repaired), CharmeraVideoProcessingError, PosixError (ENOSPC before the first byte is copied if there is
  // too little room), and CancellationError, checked before each file and each chunk.
  PreparedMediaBatch prepare(const std::vector<CameraMediaFile>& files, bool confidentlyRecognizedAsCharmera,
                             const TimeZone& timeZone, const CancellationToken& token = {},
                             const FailedFile& failedFile = {});

  // Stages the files, calls `operation` with the batch, removes the batch, and returns the operation's
  // result. If the operation fails, its error is thrown, and an error of the removal is ignored. If the
  // removal fails after a successful operation, it is tried again, and its error is thrown so that the caller
  // knows of files left.
  template <typename Operation>
  auto withPreparedBatch(const std::vector<CameraMediaFile>& files, bool confidentlyRecognizedAsCharmera,
                         const TimeZone& timeZone, const Operation& operation,
                         const CancellationToken& token = {}, const FailedFile& failedFile = {});

  // Removes a batch; a missing one is not an error. Throws MediaStagingError::invalidStagingLocation for a
  // folder outside the root, and PosixError.
  void cleanup(const PreparedMediaBatch& batch);

  // Removes the folders in the root that were last modified at least `age` before `now`. Returns their
  // number. Throws PosixError at the first that can't be examined or removed, and invalidStagingLocation if
  // the root is a link.
  int cleanupAbandoned(std::chrono::seconds age, Date now);

  // Throws MediaStagingError::sourceChanged unless the batch holds exactly the files that were examined, each
  // with the same source fingerprint.
  static void validateSourceIdentities(const PreparedMediaBatch& batch,
                                       const std::vector<FingerprintedMediaFile>& files);

  // The capture date in a picture's Exif block, taken as a local time in `timeZone`. Absent without a valid
  // one. Throws CancellationError within 100 ms of a cancellation.
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
  // Removes the batch if the operation throws, without replacing its error.
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
