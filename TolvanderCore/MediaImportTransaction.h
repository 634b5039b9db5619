#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/PreparedMediaFile.h"

namespace tolvander {

// Imports files in batches so that a crash at any point leaves a record or a pending mark of every file that
// may be in the library, never silence. The library and the history share no transaction: each batch is
// marked before the library is touched, and only its records, or the proof that the library took nothing,
// remove the marks.
class MediaImportTransaction {
 public:
  MediaImportTransaction() = delete;

  using Batch = std::vector<PreparedMediaFile>;
  using AssetIdentifiers = std::map<std::string, std::string>;  // by source fingerprint

  // Called one at a time, on the thread of `run`. All but `progress` may throw.
  struct Steps {
    std::function<void(const Batch&)> begin;                            // puts the pending marks on disk
    std::function<void(const Batch&)> rollback;                         // takes the pending marks back
    std::function<AssetIdentifiers(const Batch&)> commit;               // hands the batch to the library
    std::function<void(const Batch&, const AssetIdentifiers&)> record;  // puts the records on disk
    // Reports files done of all files. False stops the import at this point, which is not a failure.
    std::function<bool(std::int64_t completed, std::int64_t total)> progress;
  };

  // The assets of all batches that were committed. `batchSize` is at least 1. Blocks.
  //
  // The first failure ends the import and is thrown; batches before it stay recorded, and what was marked and
  // not recorded stays marked. A commit that throws MediaImportCommitFailure is rolled back and its
  // underlying failure thrown, or that of the rollback; any other failure of a commit leaves the marks.
  // Throws MediaImportError::incompleteBatch when the library took a batch in part, after recording that
  // part.
  //
  // CancellationError is thrown before a batch only: a batch once begun runs to its end.
  static AssetIdentifiers run(const std::vector<PreparedMediaFile>& files, std::int64_t batchSize,
                              const Steps& steps, const CancellationToken& token);
};

}  // namespace tolvander
