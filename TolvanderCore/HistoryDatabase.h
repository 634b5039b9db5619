#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/ImportRecords.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander {

// The whole content of the history file.
struct HistoryDatabase {
  static constexpr std::int64_t currentVersion = 5;

  std::int64_t version = currentVersion;
  ImportRecords imports;                  // by source fingerprint
  std::vector<ManagedTrashRecord> trash;  // in the order in which they were added

  // The marks of imports that were begun and not yet resolved: the source fingerprints, and the processed
  // fingerprints of some of them by source fingerprint.
  std::set<std::string> pendingImports;
  std::map<std::string, std::string> pendingProcessedFingerprints;

  friend bool operator==(const HistoryDatabase&, const HistoryDatabase&) = default;
};

// Reads a history file of any version from 1 to the current one; keys that later versions added are optional.
// Records are keyed by their own source fingerprint, whatever key the file has. Processed fingerprints
// without a pending import are dropped. Throws DecodingError if the content is not a history, and PosixError.
HistoryDatabase readHistory(const FileURL& file);
HistoryDatabase readHistory(std::span<const std::byte> bytes);

// Writes the current version's form: pretty-printed JSON, keys in ascending order in every object, dates in
// UTC with whole seconds (fractions are lost), absent optional fields left out. Throws what the sink throws.
void writeHistory(const HistoryDatabase& database, JSONWriter::Sink sink);

}  // namespace tolvander
