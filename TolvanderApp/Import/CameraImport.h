#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/MediaCounts.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/PreparedMediaFile.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::app {

// Brings camera files that are new into the library: in the order in which they were taken, staged in batches
// that bound the space on the disk, each imported in transactions that leave a record or a mark whatever
// happens. Blocks; for a worker.
class CameraImport {
 public:
  struct Services {
    std::shared_ptr<MediaStagingService> mediaStaging;
    std::shared_ptr<PhotoLibraryService> photos;
    std::shared_ptr<SyncHistoryStore> history;
  };

  // Who is told how far the import has come, and may stop it between two transactions. Called on the worker.
  struct Observer {
    std::function<bool()> mayGoOn;
    // Files imported of all files. False stops the import here, which is no failure.
    std::function<bool(std::int64_t completed, std::int64_t total)> progress;
    // So many items of a transaction are in the library and in the history.
    std::function<void(const MediaCounts& counts)> imported = [](const MediaCounts&) {};
    // The file can't be staged, which ends the import.
    MediaStagingService::FailedFile failedFile = {};
  };

  // `requireLibraryAccess` throws when the library may not be written any more.
  CameraImport(Services services, Observer observer, std::function<void()> requireLibraryAccess,
               std::function<Date()> clock);

  // The files that were imported, in the order in which they were. Those carry the camera file, the source
  // and the payload fingerprint alone. Looks for cancellation before each staged batch and each transaction.
  // Throws CancellationError, and what staging, the history and PhotoLibraryService::importFiles throw;
  // transactions that ended before stay recorded.
  std::vector<FingerprintedMediaFile> importNewFiles(const std::vector<FingerprintedMediaFile>& files,
                                                     bool confidentlyRecognizedAsCharmera,
                                                     const std::optional<std::string>& album,
                                                     const CancellationToken& token) const;

 private:
  std::vector<FingerprintedMediaFile> importPreparedBatch(const PreparedMediaBatch& batch,
                                                          const std::optional<std::string>& album,
                                                          std::int64_t completedBeforeBatch,
                                                          std::int64_t total,
                                                          const CancellationToken& token) const;
  void record(const MediaImportTransaction::Batch& batch,
              const MediaImportTransaction::AssetIdentifiers& assets) const;

  Services services_;
  Observer observer_;
  std::function<void()> requireLibraryAccess_;
  std::function<Date()> clock_;
};

}  // namespace tolvander::app
