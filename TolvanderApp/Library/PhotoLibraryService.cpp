#include "TolvanderApp/Library/PhotoLibraryService.h"

#include <exception>
#include <utility>

#include "TolvanderApp/Library/PhotoLibraryChangeExecutor.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/MediaImportCommitFailure.h"
#include "TolvanderCore/MediaKind.h"

namespace tolvander::app {

namespace {

constexpr std::int64_t importBatchSize = 4;

// What a change block has asked for. Written on the library's thread, read when the change is complete.
struct ImportPlan {
  MediaImportTransaction::AssetIdentifiers identifiers;
  std::vector<std::string> placeholders;  // in file order
};

PhotosMediaType mediaType(const FileURL& file) {
  const FileType type = fileTypeOfExtension(file.pathExtension());
  return type == FileType::quickTime || type == FileType::mpeg4 ? PhotosMediaType::video
                                                                : PhotosMediaType::image;
}

PhotosAssetCreationRequest* creationRequest(PhotosChanges& changes, const FileURL& file) {
  return mediaType(file) == PhotosMediaType::video ? changes.creationRequestForAssetFromVideo(file)
                                                   : changes.creationRequestForAssetFromImage(file);
}

// A picture has its date in its Exif block; a rewrapped AVI has no field for a date.
std::optional<Date> creationDate(const PreparedMediaFile& file) {
  const bool isAVI = fileTypeOfExtension(file.sourceFile.url.pathExtension()) == FileType::avi;
  return isAVI ? file.captureDate : std::nullopt;
}

void addCreations(PhotosChanges& changes, const MediaImportTransaction::Batch& batch, ImportPlan& plan) {
  for (const PreparedMediaFile& file : batch) {
    PhotosAssetCreationRequest* const request = creationRequest(changes, file.importURL);
    if (request == nullptr) {
      continue;
    }
    if (const auto date = creationDate(file)) {
      request->setCreationDate(*date);
    }
    if (const auto placeholder = request->placeholderForCreatedAsset()) {
      plan.identifiers[file.sourceFingerprint] = *placeholder;
      plan.placeholders.push_back(*placeholder);
    }
  }
}

}  // namespace

PhotoLibraryService::PhotoLibraryService(PhotoLibrary& library, MonotonicTimer& timer,
                                         DiagnosticRecorder recorder, const LibrarySearchLimits& limits)
    : library_(library), timer_(timer), recorder_(std::move(recorder)), limits_(limits) {}

PhotoImportOutcome PhotoLibraryService::importFiles(const std::vector<PreparedMediaFile>& files,
                                                    const std::optional<std::string>& album,
                                                    const BatchStep& begin, const BatchStep& rollback,
                                                    const RecordStep& record, const ProgressStep& progress,
                                                    const CancellationToken& token,
                                                    const std::optional<UUID>& history) {
  if (files.empty()) {
    return {};
  }
  const std::lock_guard lock(mutex_);
  requireAccess();
  const std::optional<PhotosAlbum> target = resolvedAlbum(album, token);
  const MediaImportTransaction::Steps steps{
      .begin =
          [&](const MediaImportTransaction::Batch& batch) {
            if (history) {
              prepare(batch, target, *history);
            }
            begin(batch);
          },
      .rollback = rollback,
      .commit = [&](const MediaImportTransaction::Batch& batch) { return commit(batch, target, token); },
      .record = record,
      .progress = progress};
  return {.assetIdentifiers = MediaImportTransaction::run(files, importBatchSize, steps, token)};
}

void PhotoLibraryService::prepare(const MediaImportTransaction::Batch& batch,
                                  const std::optional<PhotosAlbum>& album, const UUID& history) {
  PhotosImportPreparation preparation{
      .history = history,
      .files = {},
      .albumIdentifier = album ? std::optional(album->localIdentifier) : std::nullopt};
  for (const PreparedMediaFile& file : batch) {
    preparation.files.push_back({.file = file.importURL,
                                 .mediaType = mediaType(file.importURL),
                                 .creationDate = creationDate(file),
                                 .fingerprint = file.processedFingerprint});
  }
  library_.prepareImport(preparation);
}

std::set<std::string> PhotoLibraryService::completeInterruptedImports(
    const PhotosInterruptedImports& imports) {
  const std::lock_guard lock(mutex_);
  requireAccess();
  held_ = library_.completeImports(imports);
  std::set<std::string> fingerprints;
  for (const PhotosHeldContent& content : held_) {
    fingerprints.insert(content.fingerprint);
  }
  return fingerprints;
}

std::set<std::string> PhotoLibraryService::preparedFingerprints(const PhotosInterruptedImports& imports) {
  const std::lock_guard lock(mutex_);
  requireAccess();
  return library_.preparedFingerprints(imports);
}

MediaImportTransaction::AssetIdentifiers PhotoLibraryService::commit(
    const MediaImportTransaction::Batch& batch, const std::optional<PhotosAlbum>& album,
    const CancellationToken& token) {
  const std::vector<PhotosAsset> albumAssets = assetsBeforeCommit(album);
  ImportPlan plan;
  const auto change = [&](PhotosChanges& changes) {
    addCreations(changes, batch, plan);
    if (!album || plan.placeholders.empty()) {
      return;
    }
    if (PhotosAlbumChangeRequest* const request = changes.changeRequest(*album, albumAssets)) {
      request->addAssets(plan.placeholders);
    }
  };
  performChanges(change, true, token);
  return plan.identifiers;
}

// Runs before anything is submitted: when the library can't be read, the batch is certainly not imported.
std::vector<PhotosAsset> PhotoLibraryService::assetsBeforeCommit(const std::optional<PhotosAlbum>& album) {
  if (!album) {
    return {};
  }
  try {
    return library_.fetchAssets(*album);
  } catch (const std::exception&) {
    throw MediaImportCommitFailure::definiteFailure(std::current_exception());
  }
}

// A change that certainly didn't happen is thrown as MediaImportCommitFailure with `preservingCommitFailure`,
// else as the library's failure.
void PhotoLibraryService::performChanges(PhotoLibrary::ChangeBlock change, bool preservingCommitFailure,
                                         const CancellationToken& token) {
  try {
    PhotoLibraryChangeExecutor::perform(std::move(change), library_, token);
  } catch (const MediaImportCommitFailure& failure) {
    if (preservingCommitFailure) {
      throw;
    }
    std::rethrow_exception(failure.underlying());
  }
}

void PhotoLibraryService::requireAccess() {
  if (library_.authorizationStatus() != PhotosAuthorizationStatus::authorized) {
    throw PhotoLibraryError(PhotoLibraryError::Case::accessDenied);
  }
}

}  // namespace tolvander::app
