#include "TolvanderApp/Import/CameraImport.h"

#include <utility>

#include "TolvanderApp/Import/StagingBatches.h"
#include "TolvanderCore/ImportRecord.h"
#include "TolvanderCore/MediaImportTransaction.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::app {

namespace {

std::vector<CameraMediaFile> cameraFiles(const std::vector<FingerprintedMediaFile>& files) {
  std::vector<CameraMediaFile> result;
  result.reserve(files.size());
  for (const auto& file : files) {
    result.push_back(file.file);
  }
  return result;
}

std::vector<std::string> sourceFingerprints(const MediaImportTransaction::Batch& batch) {
  std::vector<std::string> sources;
  for (const auto& file : batch) {
    sources.push_back(file.sourceFingerprint);
  }
  return sources;
}

FingerprintedMediaFile importedFile(const PreparedMediaFile& file) {
  return {.file = file.sourceFile,
          .sourceFingerprint = file.sourceFingerprint,
          .mediaPayloadFingerprint = file.mediaPayloadFingerprint,
          .captureDate = std::nullopt,
          .metadata = std::nullopt,
          .pendingProcessedFingerprint = std::nullopt};
}

}  // namespace

CameraImport::CameraImport(Services services, Observer observer, std::function<void()> requireLibraryAccess,
                           std::function<Date()> clock)
    : services_(std::move(services)),
      observer_(std::move(observer)),
      requireLibraryAccess_(std::move(requireLibraryAccess)),
      clock_(std::move(clock)) {}

std::vector<FingerprintedMediaFile> CameraImport::importNewFiles(
    const std::vector<FingerprintedMediaFile>& files, bool confidentlyRecognizedAsCharmera,
    const std::optional<std::string>& album, const CancellationToken& token) const {
  std::vector<FingerprintedMediaFile> imported;
  if (files.empty()) {
    return imported;
  }
  const auto total = static_cast<std::int64_t>(files.size());
  observer_.progress(0, total);
  for (const auto& staged : stagingBatches(inImportOrder(files))) {
    token.throwIfCancelled();
    const auto batchImported = services_.mediaStaging->withPreparedBatch(
        cameraFiles(staged), confidentlyRecognizedAsCharmera, TimeZone::current(),
        [&](const PreparedMediaBatch& batch) {
          MediaStagingService::validateSourceIdentities(batch, staged);
          return importPreparedBatch(batch, album, static_cast<std::int64_t>(imported.size()), total, token);
        },
        token, observer_.failedFile);
    imported.insert(imported.end(), batchImported.begin(), batchImported.end());
  }
  return imported;
}

std::vector<FingerprintedMediaFile> CameraImport::importPreparedBatch(const PreparedMediaBatch& batch,
                                                                      const std::optional<std::string>& album,
                                                                      std::int64_t completedBeforeBatch,
                                                                      std::int64_t total,
                                                                      const CancellationToken& token) const {
  if (!observer_.mayGoOn()) {
    return {};
  }
  requireLibraryAccess_();
  const PhotoImportOutcome outcome = services_.photos->importFiles(
      batch.files, album, [this](const auto& files) { services_.history->beginPreparedImport(files); },
      [this](const auto& files) { services_.history->abandonFailedImport(sourceFingerprints(files)); },
      [this](const auto& files, const auto& assets) { record(files, assets); },
      [&](std::int64_t completed, std::int64_t) {
        return observer_.progress(completedBeforeBatch + completed, total);
      },
      token, services_.history->identity());
  std::vector<FingerprintedMediaFile> imported;
  for (const auto& file : batch.files) {
    if (outcome.assetIdentifiers.contains(file.sourceFingerprint)) {
      imported.push_back(importedFile(file));
    }
  }
  return imported;
}

void CameraImport::record(const MediaImportTransaction::Batch& batch,
                          const MediaImportTransaction::AssetIdentifiers& assets) const {
  std::vector<ImportRecord> records;
  MediaCounts counts;
  for (const auto& file : batch) {
    const auto asset = assets.find(file.sourceFingerprint);
    if (asset == assets.end()) {
      continue;
    }
    (file.sourceFile.isVideo() ? counts.videos : counts.photos) += 1;
    records.push_back(ImportRecord::make({.sourceFingerprint = file.sourceFingerprint,
                                          .mediaPayloadFingerprint = file.mediaPayloadFingerprint,
                                          .processedFingerprint = file.processedFingerprint,
                                          .processingVersion = file.processingVersion,
                                          .filename = file.sourceFile.filename,
                                          .relativePath = file.sourceFile.relativePath,
                                          .byteCount = file.sourceFile.byteCount,
                                          .importedAt = clock_(),
                                          .photosAssetIdentifier = asset->second,
                                          .wasReconciled = false,
                                          .evidence = std::nullopt}));
  }
  services_.history->record(records);
  observer_.imported(counts);
}

}  // namespace tolvander::app
