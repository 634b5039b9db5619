#include "TolvanderApp/Trash/CleanupProof.h"

#include <algorithm>

namespace tolvander::app {

CleanupProof::Assets CleanupProof::recordedAssets(const std::vector<FingerprintedMediaFile>& files,
                                                  const ImportRecords& records) {
  Assets assets;
  for (const auto& file : files) {
    const auto* record = records.find(file.sourceFingerprint);
    if (record != nullptr && record->isContentConfirmed() && record->photosAssetIdentifier) {
      assets.emplace(file.sourceFingerprint, *record->photosAssetIdentifier);
    }
  }
  return assets;
}

std::vector<std::string> CleanupProof::identifiers(const Assets& assets) {
  std::vector<std::string> identifiers;
  for (const auto& [source, identifier] : assets) {
    identifiers.push_back(identifier);
  }
  return identifiers;
}

std::vector<std::string> CleanupProof::identifiers(const std::vector<ManagedTrashRecord>& records) {
  std::vector<std::string> identifiers;
  for (const auto& record : records) {
    if (record.photosAssetIdentifier) {
      identifiers.push_back(*record.photosAssetIdentifier);
    }
  }
  return identifiers;
}

bool CleanupProof::allExist(const std::vector<FingerprintedMediaFile>& files, const Assets& assets,
                            const std::set<std::string>& existing) {
  return std::ranges::all_of(files, [&](const FingerprintedMediaFile& file) {
    const auto asset = assets.find(file.sourceFingerprint);
    return asset != assets.end() && existing.contains(asset->second);
  });
}

bool CleanupProof::allExist(const std::vector<ManagedTrashRecord>& records,
                            const std::set<std::string>& existing) {
  return std::ranges::all_of(records, [&](const ManagedTrashRecord& record) {
    return record.photosAssetIdentifier && existing.contains(*record.photosAssetIdentifier);
  });
}

std::optional<std::string> CleanupProof::contentInLibrary(const ManagedTrashRecord& trashed,
                                                          const ImportRecords& records) {
  const auto* record = records.find(trashed.fingerprint);
  if (record == nullptr || !record->isContentConfirmed()) {
    return std::nullopt;
  }
  return record->processedFingerprint.value_or(record->sourceFingerprint);
}

}  // namespace tolvander::app
