#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander {

// What a record rests on.
enum class ImportEvidence {
  contentConfirmed,  // the bytes of the library item were matched against the camera file
  metadataOnly,      // name, date and pixel metadata alone; there is no content fingerprint
};

// The text that stands for the evidence in the history file.
std::string_view rawText(ImportEvidence evidence);
std::optional<ImportEvidence> importEvidence(std::string_view rawText);

// One library item known to carry a camera file. A record on metadata alone never carries a payload
// fingerprint, a processed fingerprint or a processing version: there were no bytes to take them from.
struct ImportRecord {
  std::string sourceFingerprint;  // of the camera file as it lies on the card; the key of the record
  std::optional<std::string> mediaPayloadFingerprint;
  std::optional<std::string> processedFingerprint;  // of the bytes handed to the library
  std::optional<std::int64_t> processingVersion;    // of the processing that made those bytes
  std::string filename;                             // the camera file's
  std::string relativePath;                         // the camera file's, below the volume
  std::int64_t byteCount = 0;                       // the camera file's
  Date importedAt;                                  // when the record was made
  std::optional<std::string> photosAssetIdentifier;
  // From recognising an existing library item, and not from an import of ours.
  bool wasReconciled = false;
  // Absent on records of our own imports and on those written before evidence existed.
  std::optional<ImportEvidence> evidence;

  // The record that `fields` describes, without what its evidence can't carry.
  static ImportRecord make(ImportRecord fields);

  // A record without content identities and without evidence, as records were before there were any.
  static ImportRecord make(std::string fingerprint, std::string filename, std::string relativePath,
                           std::int64_t byteCount, Date importedAt,
                           std::optional<std::string> photosAssetIdentifier, bool wasReconciled);

  // A record without evidence counts as confirmed: it is one of our own imports, or older than the metadata
  // road.
  bool isContentConfirmed() const { return evidence != ImportEvidence::metadataOnly; }

  const std::string& fingerprint() const { return sourceFingerprint; }

  friend bool operator==(const ImportRecord&, const ImportRecord&) = default;
};

}  // namespace tolvander
