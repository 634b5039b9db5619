#include "TolvanderCore/NativeCharmeraVideoProcessor.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "TolvanderCore/Concurrency/Deadline.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Video/AVIExportProof.h"
#include "TolvanderCore/Video/VideoExportProof.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander {

namespace {

using Case = CharmeraVideoProcessingError::Case;

void require(bool holds, Case otherwise) {
  if (!holds) {
    throw CharmeraVideoProcessingError(otherwise);
  }
}

void validateSourceSize(const FileURL& url) {
  const FileResourceValues values = fileResourceValues(url);
  require(values.isRegularFile && values.fileSize && *values.fileSize >= 1 &&
              *values.fileSize <= NativeCharmeraVideoProcessor::maximumSourceBytes,
          Case::invalidVideo);
}

// True also for a broken symbolic link.
bool isAnythingAt(const FileURL& url) {
  try {
    fileResourceValues(url);
    return true;
  } catch (const PosixError&) {
    return false;
  }
}

void validateDestination(const FileURL& source, const FileURL& destination) {
  require(source.resolvingSymlinks() != destination.resolvingSymlinks() && !isAnythingAt(destination),
          Case::invalidDestination);
}

bool isDestinationTaken(const MovieError& error) {
  return error.kind() == MovieError::Case::destinationExists;
}

// To be called in a catch block: whether another process has created the destination in the meantime.
bool isDestinationOfAnother() {
  try {
    throw;
  } catch (const MovieError& error) {
    return isDestinationTaken(error);
  } catch (...) {
    return false;
  }
}

// To be called in a catch block: throws the error that the caller of a failed transcode receives.
[[noreturn]] void throwAsProcessingError() {
  try {
    throw;
  } catch (const CharmeraVideoProcessingError&) {
    throw;
  } catch (const CancellationError&) {
    throw;
  } catch (const MovieError& error) {
    throw CharmeraVideoProcessingError(isDestinationTaken(error) ? Case::invalidDestination
                                                                 : Case::exportFailed);
  } catch (...) {
    throw CharmeraVideoProcessingError(Case::exportFailed);
  }
}

void runExport(const MovieExporter& exporter, const Movie& source, const MovieExportRequest& request,
               std::chrono::nanoseconds timeLimit, const CancellationToken& token) {
  Deadline deadline(token, timeLimit);
  try {
    exporter.exportMovie(source, request, deadline.token());
  } catch (...) {
    require(isDestinationOfAnother() || deadline.stop(), Case::exportTimedOut);
    throw;
  }
  require(deadline.stop(), Case::exportTimedOut);
}

std::vector<PayloadIdentity> proveTracks(MediaType type, const Movie& source,
                                         const std::optional<AVIExportProof>& avi, const Movie& exported,
                                         const CancellationToken& token) {
  return avi ? avi->proveTracks(type, exported, token)
             : VideoExportProof::proveTracks(type, source, exported, token);
}

ProvenMovie prove(const Movie& source, const VideoMediaMetadata& sourceMetadata,
                  const std::optional<AVIExportProof>& avi, std::optional<Date> sourceDate,
                  const FileURL& exportedURL, const CancellationToken& token) {
  const Movie exported = openVideo(exportedURL, token);
  const VideoMediaMetadata exportedMetadata = VideoMediaMetadata::load(exported);
  require(VideoExportProof::metadataAgrees(sourceMetadata, exportedMetadata), Case::invalidExport);
  ProvenMovie proven{.metadata = exportedMetadata,
                     .videoTracks = proveTracks(MediaType::video, source, avi, exported, token),
                     .audioTracks = proveTracks(MediaType::audio, source, avi, exported, token)};
  require(VideoExportProof::captureDateAgrees(sourceDate, exportedMetadata.captureDate), Case::invalidExport);
  return proven;
}

}  // namespace

std::chrono::nanoseconds NativeCharmeraVideoProcessor::exportTimeLimit(double sourceDuration) {
  constexpr double factor = 8;
  constexpr double shortest = 60;
  constexpr double longest = 1800;
  const std::chrono::duration<double> limit(std::clamp(sourceDuration * factor, shortest, longest));
  return std::chrono::duration_cast<std::chrono::nanoseconds>(limit);
}

NativeCharmeraVideoProcessor::NativeCharmeraVideoProcessor(CharmeraVideoSupportStatus supportStatus,
                                                           std::shared_ptr<const MovieExporter> exporter,
                                                           TimeLimit timeLimit)
    : supportStatus_(supportStatus), exporter_(std::move(exporter)), timeLimit_(std::move(timeLimit)) {}

CharmeraVideoProbe NativeCharmeraVideoProcessor::probe(const FileURL& sourceURL,
                                                       std::optional<Date> sourceModificationDate,
                                                       const CancellationToken& token) const {
  validateSourceSize(sourceURL);
  VideoMediaMetadata::load(sourceURL, token);
  token.throwIfCancelled();
  return {.supportStatus = CharmeraVideoSupportStatus::available,
          .sourceFingerprint = FileFingerprinter::sha256(sourceURL, token),
          .proposedOutputFilename = std::string(sourceURL.stem()) + ".mov",
          .captureDate = sourceModificationDate};
}

void NativeCharmeraVideoProcessor::transcode(const FileURL& sourceURL, const FileURL& destinationURL,
                                             const CancellationToken& token) const {
  rewrap(sourceURL, destinationURL, std::nullopt, token);
}

ProvenMovie NativeCharmeraVideoProcessor::rewrap(const FileURL& sourceURL, const FileURL& destinationURL,
                                                 const std::optional<TimeZone>& cameraZone,
                                                 const CancellationToken& token) const {
  token.throwIfCancelled();
  validateSourceSize(sourceURL);
  validateDestination(sourceURL, destinationURL);
  const Movie source = openVideo(sourceURL, token);
  const VideoMediaMetadata metadata = VideoMediaMetadata::load(source);
  require(exporter_->canExport(source), Case::nativeExportUnavailable);
  const std::optional<AVIExportProof> avi = AVIExportProof::forSource(source, token);

  const FileResourceValues values =
      cameraZone ? cameraFileResourceValues(sourceURL, *cameraZone) : fileResourceValues(sourceURL);
  const std::optional<Date> date = values.contentModificationDate;
  MovieExportRequest request{.destination = destinationURL, .creationDate = std::nullopt};
  request.fileLengthLimit = maximumSourceBytes;
  if (date) {
    request.creationDate = iso8601Text(*date);
  }
  try {
    runExport(*exporter_, source, request, timeLimit_(metadata.duration), token);
    token.throwIfCancelled();
    return prove(source, metadata, avi, date, destinationURL, token);
  } catch (...) {
    if (!isDestinationOfAnother()) {
      unlink(destinationURL.path().c_str());
    }
    token.throwIfCancelled();
    throwAsProcessingError();
  }
}

}  // namespace tolvander
