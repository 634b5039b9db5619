#include "TolvanderCore/ImportRecord.h"

#include <utility>

namespace tolvander {

namespace {

constexpr std::string_view contentConfirmedText = "contentConfirmed";
constexpr std::string_view metadataOnlyText = "metadataOnly";

}  // namespace

std::string_view rawText(ImportEvidence evidence) {
  return evidence == ImportEvidence::contentConfirmed ? contentConfirmedText : metadataOnlyText;
}

std::optional<ImportEvidence> importEvidence(std::string_view rawText) {
  if (rawText == contentConfirmedText) {
    return ImportEvidence::contentConfirmed;
  }
  return rawText == metadataOnlyText ? std::optional(ImportEvidence::metadataOnly) : std::nullopt;
}

ImportRecord ImportRecord::make(ImportRecord fields) {
  if (!fields.isContentConfirmed()) {
    fields.mediaPayloadFingerprint.reset();
    fields.processedFingerprint.reset();
    fields.processingVersion.reset();
  }
  return fields;
}

ImportRecord ImportRecord::make(std::string fingerprint, std::string filename, std::string relativePath,
                                std::int64_t byteCount, Date importedAt,
                                std::optional<std::string> photosAssetIdentifier, bool wasReconciled) {
  ImportRecord record;
  record.sourceFingerprint = std::move(fingerprint);
  record.filename = std::move(filename);
  record.relativePath = std::move(relativePath);
  record.byteCount = byteCount;
  record.importedAt = importedAt;
  record.photosAssetIdentifier = std::move(photosAssetIdentifier);
  record.wasReconciled = wasReconciled;
  return record;
}

}  // namespace tolvander
