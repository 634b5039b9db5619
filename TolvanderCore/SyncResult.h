#pragma once

#include <cstdint>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/FingerprintedMediaFile.h"

namespace tolvander {

// What one sync, or one restoration, came to.
struct SyncResult {
  std::int64_t scannedCount = 0;     // files on the card, repetitions of a picture included
  std::int64_t recognizedCount = 0;  // files found in the library by content
  std::vector<FingerprintedMediaFile> imported;
  std::int64_t metadataMatchedCount = 0;              // files found by metadata alone
  std::vector<CameraMediaFile> metadataMatchedFiles;  // those files

  friend bool operator==(const SyncResult&, const SyncResult&) = default;
};

}  // namespace tolvander
