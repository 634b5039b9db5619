#include "Tests/ModelChecking/State.h"

#include <utility>

namespace tolvander::tests {

namespace {

const std::string goneAsset = "gone";

void forgetGoneAsset(std::string& asset, const State& state) {
  if (!state.library.contains(asset)) {
    asset = goneAsset;
  }
}

// Joins texts with control characters, which the texts of a state don't contain.
class Key {
 public:
  Key& operator<<(const std::string& text) {
    text_ += text;
    text_ += '\x1f';
    return *this;
  }
  Key& operator<<(const std::optional<std::string>& text) { return *this << text.value_or("\x02"); }
  void endList() { text_ += '\x1e'; }
  std::string text() && { return std::move(text_); }

 private:
  std::string text_;
};

}  // namespace

std::string pictureOf(const Bytes& bytes) { return bytes.substr(0, bytes.find('/')); }

std::optional<std::string> payloadOf(const Bytes& bytes) {
  const std::string picture = pictureOf(bytes);
  return picture == "video" ? std::nullopt : std::optional("jpeg-v2:" + picture);
}

std::string processedFingerprintOf(const Bytes& bytes) { return bytes + " repaired"; }

State normalized(State state) {
  std::vector<ImportRecord> records;
  for (ImportRecord record : state.history.imports) {
    record.importedAt = Date(std::chrono::seconds(0));
    if (record.photosAssetIdentifier) {
      forgetGoneAsset(*record.photosAssetIdentifier, state);
    }
    records.push_back(std::move(record));
  }
  state.history.imports = ImportRecords(std::move(records));
  if (state.review) {
    for (auto& [source, match] : state.review->review.recognized) {
      forgetGoneAsset(match.assetIdentifier, state);
    }
    for (auto& [source, asset] : state.review->review.metadataRecognized) {
      forgetGoneAsset(asset, state);
    }
  }
  return state;
}

std::string keyOf(const State& state) {
  Key key;
  for (const ImportRecord& record : state.history.imports) {
    key << record.sourceFingerprint << record.mediaPayloadFingerprint << record.processedFingerprint
        << record.relativePath << record.photosAssetIdentifier;
    key << std::to_string(record.processingVersion.value_or(-1))
        << std::to_string(record.evidence ? static_cast<int>(*record.evidence) : -1);
  }
  key.endList();
  for (const std::string& source : state.history.pendingImports) {
    const auto processed = state.history.pendingProcessedFingerprints.find(source);
    key << source;
    if (processed != state.history.pendingProcessedFingerprints.end()) {
      key << "=" + processed->second;
    }
  }
  key.endList();
  for (const auto& [asset, item] : state.library) {
    key << asset << item.fingerprint;
  }
  key.endList();
  if (state.review) {
    // Its other fields follow from the history, which doesn't change while the review is open.
    key << std::to_string(state.review->card) << std::to_string(state.review->isCharmera ? 1 : 0);
    for (const auto& [source, match] : state.review->review.recognized) {
      key << source << match.assetIdentifier;
    }
    key.endList();
    for (const auto& [source, asset] : state.review->review.metadataRecognized) {
      key << source << asset;
    }
  }
  return std::move(key).text();
}

}  // namespace tolvander::tests
