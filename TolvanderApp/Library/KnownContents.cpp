#include "TolvanderApp/Library/KnownContents.h"

#include <cstddef>
#include <utility>

#include "TolvanderApp/Library/ResourceIdentityAccumulator.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"

namespace tolvander::app {

namespace {

// Assets in one request to the library, which looks at a file for each. A stop waits for the request to end.
constexpr std::size_t assetsPerQuestion = 500;

}  // namespace

KnownContents::KnownContents(PhotoLibrary& library, ImportRecords records, bool comparesPayloads)
    : library_(library), records_(std::move(records)), comparesPayloads_(comparesPayloads) {}

// Built when first needed: a history may have a hundred thousand records.
void KnownContents::indexRecords() {
  if (!byAsset_.empty()) {
    return;
  }
  byAsset_.reserve(records_.size());
  for (const ImportRecord& record : records_) {
    if (record.photosAssetIdentifier) {
      byAsset_.emplace(*record.photosAssetIdentifier, &record);
    }
  }
}

void KnownContents::learn(const std::vector<PhotosAsset>& assets, const CancellationToken& token) {
  if (assets.empty()) {
    return;
  }
  indexRecords();
  if (byAsset_.empty()) {
    return;
  }
  std::vector<std::string> recorded;
  for (const PhotosAsset& asset : assets) {
    if (byAsset_.contains(asset.localIdentifier) && asked_.insert(asset.localIdentifier).second) {
      recorded.push_back(asset.localIdentifier);
    }
    if (recorded.size() == assetsPerQuestion) {
      token.throwIfCancelled();
      learn(recorded);
      recorded.clear();
    }
  }
  token.throwIfCancelled();
  learn(recorded);
}

void KnownContents::learn(const std::vector<std::string>& recorded) {
  const auto originals = library_.unchangedOriginals(recorded);
  if (!originals) {
    return;
  }
  isAnswered_ = true;
  for (const PhotosUnchangedOriginal& original : *originals) {
    const std::string& asset = original.resource.assetLocalIdentifier;
    const auto [begin, end] = byAsset_.equal_range(asset);
    for (auto entry = begin; entry != end; ++entry) {
      if (auto known = identity(*entry->second, original, comparesPayloads_)) {
        contents_.try_emplace(asset, Known{.resourceIndex = original.resource.index,
                                           .content = {std::move(*known), original.byteCount}});
        break;
      }
    }
  }
}

const KnownContents::Content* KnownContents::find(const std::string& assetIdentifier,
                                                  std::int64_t resourceIndex) const {
  const auto known = contents_.find(assetIdentifier);
  return known != contents_.end() && known->second.resourceIndex == resourceIndex ? &known->second.content
                                                                                  : nullptr;
}

std::optional<OfflinePhotoRecognizer::Identity> KnownContents::identity(
    const ImportRecord& record, const PhotosUnchangedOriginal& original, bool comparesPayloads) {
  if (!record.isContentConfirmed() || record.processedFingerprint != original.sha256) {
    return std::nullopt;
  }
  OfflinePhotoRecognizer::Identity known{.sourceFingerprint = original.sha256,
                                         .mediaPayloadFingerprint = std::nullopt};
  if (ResourceIdentityAccumulator::hasPayload(original.resource.originalFilename, original.byteCount)) {
    const auto& payload = record.mediaPayloadFingerprint;
    if (payload && payload->starts_with(CharmeraMediaProcessor::jpegPayloadScheme)) {
      known.mediaPayloadFingerprint = payload;
    } else if (comparesPayloads) {
      return std::nullopt;
    }
  }
  return known;
}

}  // namespace tolvander::app
