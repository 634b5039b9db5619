#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/PreparedMediaFile.h"

namespace tolvander {

// Imports files in batches so that, after a crash at any point, every file that may be in the library has a
// record or a pending mark. Library and history share no transaction, so each batch is marked in the history
// before the library is changed (a write-ahead intent). The marks are removed by the batch's records, or
// after the library has reported that it took no file.
class MediaImportTransaction {
 public:
  MediaImportTransaction() = delete;

  using Batch = std::vector<PreparedMediaFile>;
  using AssetIdentifiers = std::map<std::string, std::string>;  // by source fingerprint

  // Called one at a time, on the thread of `run`. All but `progress` may throw.
  struct Steps {
    std::function<void(const Batch&)> begin;                            // saves the pending marks
    std::function<void(const Batch&)> rollback;                         // removes the pending marks
    std::function<AssetIdentifiers(const Batch&)> commit;               // imports the batch into the library
    std::function<void(const Batch&, const AssetIdentifiers&)> record;  // saves the records
    // Reports how many of all files are done. Returning false stops the import, which is not a failure.
    std::function<bool(std::int64_t completed, std::int64_t total)> progress;
  };

  // Returns the assets of all committed batches. `batchSize` is at least 1. Blocks.
  //
  // The first failure ends the import and is thrown. Earlier batches stay recorded; files that were marked
  // and not recorded stay marked. If a commit throws MediaImportCommitFailure, the batch is rolled back and
  // the underlying failure is thrown, or the rollback's own. After any other failure of a commit the marks
  // stay. Throws MediaImportError::incompleteBatch if the library took only a part of a batch, after
  // recording that part.
  //
  // CancellationError is thrown only between batches: a batch that has begun is completed.
  static AssetIdentifiers run(const std::vector<PreparedMediaFile>& files, std::int64_t batchSize,
                              const Steps& steps, const CancellationToken& token);
};

}  // namespace tolvander
