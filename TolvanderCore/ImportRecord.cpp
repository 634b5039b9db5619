#include "TolvanderCore/ImportRecord.h"

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

}  // namespace tolvander
