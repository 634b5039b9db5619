#include "TolvanderApp/Import/MediaFingerprintStage.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>

#include "TolvanderApp/Concurrency/Outcome.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/MediaKind.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/PictureHead.h"
#include "TolvanderCore/Platform/ImageProperties.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander::app {

namespace {

using Result = Outcome<FingerprintedMediaFile>;

FileType fileType(const CameraMediaFile& file) { return fileTypeOfExtension(file.url.pathExtension()); }

FingerprintedMediaFile withSource(const CameraMediaFile& file, std::string sourceFingerprint) {
  return {.file = file,
          .sourceFingerprint = std::move(sourceFingerprint),
          .mediaPayloadFingerprint = std::nullopt,
          .captureDate = std::nullopt,
          .metadata = std::nullopt,
          .pendingProcessedFingerprint = std::nullopt};
}

std::optional<MediaMetadata> pictureMetadata(std::span<const std::byte> bytes,
                                             const CancellationToken& token) {
  const auto properties = imageProperties(bytes, token);
  if (!properties) {
    return std::nullopt;
  }
  return MediaMetadata{.kind = MediaMetadata::Kind::image,
                       .pixelWidth = properties->pixelWidth,
                       .pixelHeight = properties->pixelHeight,
                       .duration = std::nullopt};
}

// A picture whose structure can't be read is still known by its bytes.
std::optional<std::string> payloadFingerprint(std::span<const std::byte> bytes,
                                              const CancellationToken& token) {
  return unlessMalformed(
      [&] { return std::optional(CharmeraMediaProcessor::jpegMediaPayloadFingerprint(bytes, token)); });
}

// The payload is looked for in the whole picture, which is kept where its size allows a repair. One that is
// larger is known by its bytes, and refused only when it is to be imported.
FingerprintedMediaFile fingerprintJPEG(const CameraMediaFile& file, bool isCharmera, const TimeZone& timeZone,
                                       const CancellationToken& token) {
  WholeFile source(file.url);
  const bool needsWhole = isCharmera && source.byteCount() <= CharmeraMediaProcessor::maximumRepairBytes;
  PictureHead head(source.byteCount(), needsWhole ? source.byteCount() : PictureHead::maximumBytes);
  SHA256 hash;
  const auto take = [&](std::span<const std::byte> part) {
    hash.update(part);
    head.append(part);
  };
  source.forEachPart(take, token);
  auto result = withSource(file, FileFingerprinter::text(hash.finish()));
  if (needsWhole) {
    result.mediaPayloadFingerprint = payloadFingerprint(head.bytes(), token);
  }
  result.captureDate = MediaStagingService::captureDate(head.bytes(), timeZone, token);
  result.metadata = pictureMetadata(head.bytes(), token);
  return result;
}

// Absent for a video that can't be opened as a movie and may be imported all the same.
std::optional<VideoMediaMetadata> videoMetadata(const CameraMediaFile& file, bool isAVI,
                                                const CancellationToken& token) {
  try {
    return VideoMediaMetadata::load(file.url, token);
  } catch (const CancellationError&) {
    throw;
  } catch (const Error&) {
    token.throwIfCancelled();
    if (isAVI) {
      throw;
    }
    return std::nullopt;
  }
}

FingerprintedMediaFile fingerprintVideo(const CameraMediaFile& file, const CancellationToken& token) {
  const bool isAVI = fileType(file) == FileType::avi;
  const auto movie = videoMetadata(file, isAVI, token);
  auto result = withSource(file, FileFingerprinter::sha256(file.url, token));
  if (movie) {
    result.metadata = MediaMetadata{.kind = MediaMetadata::Kind::video,
                                    .pixelWidth = movie->pixelWidth,
                                    .pixelHeight = movie->pixelHeight,
                                    .duration = movie->duration};
    result.captureDate = isAVI || !movie->captureDate ? file.modifiedAt : movie->captureDate;
  }
  return result;
}

// The work, shared between the threads: each takes the next file until there is none, or one has failed.
// Files are taken in order and a taken one is always done, so all before a failed one have a result, and the
// first failure in their order is known whichever thread was faster.
class Progress {
 public:
  explicit Progress(std::size_t count) : results_(count) {}

  void work(const std::function<FingerprintedMediaFile(std::size_t)>& fingerprint) {
    while (!hasFailed_) {
      const std::size_t index = next_++;
      if (index >= results_.size()) {
        return;
      }
      results_[index].emplace(Result::of([&] { return fingerprint(index); }));
      if (results_[index]->isFailure()) {
        hasFailed_ = true;
      }
    }
  }

  // Both once all threads have ended.
  std::optional<std::size_t> firstFailure() const {
    for (std::size_t index = 0; index < results_.size() && results_[index]; ++index) {
      if (results_[index]->isFailure()) {
        return index;
      }
    }
    return std::nullopt;
  }

  std::vector<FingerprintedMediaFile> take() {
    std::vector<FingerprintedMediaFile> files;
    files.reserve(results_.size());
    for (auto& result : results_) {
      files.push_back(result->take());
    }
    return files;
  }

 private:
  std::vector<std::optional<Result>> results_;  // each slot belongs to the thread that took its file
  std::atomic<std::size_t> next_ = 0;
  std::atomic<bool> hasFailed_ = false;
};

}  // namespace

std::vector<FingerprintedMediaFile> MediaFingerprintStage::fingerprint(
    const std::vector<CameraMediaFile>& files, bool confidentlyRecognizedAsCharmera,
    const CancellationToken& token, const TimeZone& timeZone, const FailedFile& failedFile) {
  Progress progress(files.size());
  const auto fingerprintOne = [&](std::size_t index) {
    token.throwIfCancelled();
    const CameraMediaFile& file = files[index];
    if (fileType(file) == FileType::jpeg) {
      return fingerprintJPEG(file, confidentlyRecognizedAsCharmera, timeZone, token);
    }
    return file.isVideo() ? fingerprintVideo(file, token)
                          : withSource(file, FileFingerprinter::sha256(file.url, token));
  };
  std::thread second([&] { progress.work(fingerprintOne); });
  progress.work(fingerprintOne);
  second.join();
  if (const auto index = progress.firstFailure(); index && failedFile) {
    failedFile(files[*index]);
  }
  return progress.take();
}

}  // namespace tolvander::app
