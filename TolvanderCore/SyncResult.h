#pragma once

#include <cstdint>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/FingerprintedMediaFile.h"

namespace tolvander {

// The result of one sync or restore.
struct SyncResult {
  std::int64_t scannedCount = 0;     // files on the card, including repetitions of a picture
  std::int64_t recognizedCount = 0;  // files found in the library by content
  std::vector<FingerprintedMediaFile> imported;
  std::int64_t metadataMatchedCount = 0;              // files found by metadata only
  std::vector<CameraMediaFile> metadataMatchedFiles;  // those files

  friend bool operator==(const SyncResult&, const SyncResult&) = default;
};

}  // namespace tolvander
