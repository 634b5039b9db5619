#include "TolvanderApp/PausedImports.h"

#include <map>
#include <utility>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

namespace {

using PathAndSize = std::pair<std::string, std::int64_t>;

// The records of sources that are not in `sources`.
std::set<PathAndSize> recordedElsewhere(const ImportRecords& records, const std::set<std::string>& sources) {
  std::set<PathAndSize> recorded;
  for (const ImportRecord& record : records) {
    recorded.emplace(record.relativePath, record.byteCount);
  }
  for (const std::string& source : sources) {
    if (const ImportRecord* record = records.find(source)) {
      recorded.erase({record->relativePath, record->byteCount});
    }
  }
  return recorded;
}

}  // namespace

PhotosInterruptedImports interruptedImports(SyncHistoryStore& history, const UUID& identity) {
  PhotosInterruptedImports imports{
      .history = identity, .pendingFingerprints = {}, .isRecorded = [&history](const std::string& content) {
        return history.containsProcessedFingerprint(content);
      }};
  for (const auto& [source, processed] : history.pendingProcessedFingerprints()) {
    imports.pendingFingerprints.insert(processed);
  }
  return imports;
}

PausedImports PausedImports::of(SyncHistoryStore& history, PhotoLibraryService& photos) {
  PausedImports imports;
  imports.paused = history.pendingImportSources();
  if (imports.paused.empty()) {
    return imports;
  }
  // Without an identity nothing was prepared. But an asset may hold a file whose import an earlier version of
  // the program began.
  const auto prepared =
      photos.preparedFingerprints(interruptedImports(history, history.knownIdentity().value_or(UUID())));
  for (const auto& [source, processed] : history.pendingProcessedFingerprints()) {
    if (prepared.contains(processed) && imports.paused.erase(source) > 0) {
      imports.finishedByNextSync.insert(source);
    }
  }
  return imports;
}

std::vector<CameraMediaFile> takePausedFiles(const std::vector<CameraMediaFile>& files,
                                             std::set<std::string>& sources, const ImportRecords& records,
                                             const PausedFileProgress& progress,
                                             const CancellationToken& token) {
  std::vector<CameraMediaFile> candidates = files;
  std::erase_if(candidates, [recorded = recordedElsewhere(records, sources)](const CameraMediaFile& file) {
    return recorded.contains({file.relativePath, file.byteCount});
  });
  std::vector<CameraMediaFile> found;
  for (std::size_t index = 0; index < candidates.size() && !sources.empty(); ++index) {
    const CameraMediaFile& file = candidates[index];
    progress(index + 1, candidates.size());
    try {
      if (sources.erase(FileFingerprinter::sha256(file.url, token)) > 0) {
        found.push_back(file);
      }
    } catch (const CancellationError&) {
      throw;
    } catch (const Error&) {
      continue;
    }
  }
  return found;
}

}  // namespace tolvander::app
