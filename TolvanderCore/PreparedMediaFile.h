#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander {

// A staged copy, ready for the photo library.
struct PreparedMediaFile {
  CameraMediaFile sourceFile;  // the camera file that it was made from
  FileURL importURL;           // the staged file to give to the library
  std::string sourceFingerprint;
  std::optional<std::string> mediaPayloadFingerprint;
  std::string processedFingerprint;
  std::optional<std::int64_t> processingVersion;  // 1: JPEG repair, 2: video, absent: not altered
  bool isStagedCopy = true;
  std::optional<Date> captureDate;  // the date that the library should show

  friend bool operator==(const PreparedMediaFile&, const PreparedMediaFile&) = default;
};

// The staged copies of one batch and the folder in which they live.
struct PreparedMediaBatch {
  UUID id;
  std::vector<PreparedMediaFile> files;
  FileURL directoryURL;

  friend bool operator==(const PreparedMediaBatch&, const PreparedMediaBatch&) = default;
};

}  // namespace tolvander
