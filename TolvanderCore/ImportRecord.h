#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander {

// Why a library item is taken for a camera file.
enum class ImportEvidence {
  contentConfirmed,  // the bytes of the library item were compared with the camera file
  metadataOnly,      // only name, date and picture size agree; there is no content fingerprint
};

// The text for the evidence in the history file.
std::string_view rawText(ImportEvidence evidence);
std::optional<ImportEvidence> importEvidence(std::string_view rawText);

// A camera file and the library item that holds it. A record with metadataOnly never has a payload
// fingerprint, a processed fingerprint or a processing version, because no bytes were read.
struct ImportRecord {
  std::string sourceFingerprint;  // of the file on the card; the key of the record
  std::optional<std::string> mediaPayloadFingerprint;
  std::optional<std::string> processedFingerprint;  // of the bytes given to the library
  std::optional<std::int64_t> processingVersion;    // of the processing that produced those bytes
  std::string filename;                             // of the camera file, as are the next two
  std::string relativePath;                         // below the root of the volume
  std::int64_t byteCount = 0;
  Date importedAt;  // when the record was made
  std::optional<std::string> photosAssetIdentifier;
  // Whether the item was recognised in the library, and not imported by this program.
  bool wasReconciled = false;
  // Absent if this program imported the item, and in records from before this field existed.
  std::optional<ImportEvidence> evidence;

  // A record of `fields` without those that its evidence must not have.
  static ImportRecord make(ImportRecord fields);

  // A record without content fingerprints and evidence, as they were before these fields existed.
  static ImportRecord make(std::string fingerprint, std::string filename, std::string relativePath,
                           std::int64_t byteCount, Date importedAt,
                           std::optional<std::string> photosAssetIdentifier, bool wasReconciled);

  // A record without evidence counts as confirmed: this program imported the item, or the record is from
  // before items were recognised by metadata.
  bool isContentConfirmed() const { return evidence != ImportEvidence::metadataOnly; }

  const std::string& fingerprint() const { return sourceFingerprint; }

  friend bool operator==(const ImportRecord&, const ImportRecord&) = default;
};

}  // namespace tolvander
