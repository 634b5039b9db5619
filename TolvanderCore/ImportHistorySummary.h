#pragma once

#include <cstdint>

#include "TolvanderCore/ImportRecords.h"

namespace tolvander {

// The number of different items in the history. Records that share a source fingerprint, a payload
// fingerprint or a library asset, directly or through other records, are one item. Photos and videos (by the
// extension of the file name) are counted separately.
struct ImportHistorySummary {
  std::int64_t uniquePhotoCount = 0;
  std::int64_t uniqueVideoCount = 0;

  static ImportHistorySummary of(const ImportRecords& records);

  friend bool operator==(const ImportHistorySummary&, const ImportHistorySummary&) = default;
};

}  // namespace tolvander
