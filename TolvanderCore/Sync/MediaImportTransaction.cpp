#include "TolvanderCore/MediaImportTransaction.h"

#include <algorithm>
#include <exception>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaImportCommitFailure.h"
#include "TolvanderCore/MediaImportError.h"

namespace tolvander {

namespace {

using Batch = MediaImportTransaction::Batch;
using AssetIdentifiers = MediaImportTransaction::AssetIdentifiers;
using Steps = MediaImportTransaction::Steps;

AssetIdentifiers commit(const Batch& batch, const Steps& steps) {
  std::exception_ptr definiteFailure;
  try {
    return steps.commit(batch);
  } catch (const MediaImportCommitFailure& failure) {
    definiteFailure = failure.underlying();
  }
  steps.rollback(batch);
  std::rethrow_exception(definiteFailure);
}

AssetIdentifiers importBatch(const Batch& batch, const Steps& steps) {
  steps.begin(batch);
  AssetIdentifiers assets = commit(batch, steps);
  // Records the result before checking it: the files that were imported then have a record, and the others
  // keep their marks.
  steps.record(batch, assets);
  const bool isComplete = std::ranges::all_of(
      batch, [&](const PreparedMediaFile& file) { return assets.contains(file.sourceFingerprint); });
  if (!isComplete) {
    throw MediaImportError(MediaImportError::Case::incompleteBatch);
  }
  return assets;
}

}  // namespace

AssetIdentifiers MediaImportTransaction::run(const std::vector<PreparedMediaFile>& files,
                                             std::int64_t batchSize, const Steps& steps,
                                             const CancellationToken& token) {
  precondition(batchSize >= 1, "a batch holds at least one file");
  const auto total = static_cast<std::int64_t>(files.size());
  AssetIdentifiers imported;
  std::int64_t completed = 0;
  while (steps.progress(completed, total) && completed < total) {
    token.throwIfCancelled();
    const std::int64_t end = completed + std::min(batchSize, total - completed);
    imported.merge(importBatch(Batch(files.begin() + completed, files.begin() + end), steps));
    completed = end;
  }
  return imported;
}

}  // namespace tolvander
