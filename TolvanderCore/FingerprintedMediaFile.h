#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/MediaMetadata.h"

namespace tolvander {

// A camera file with its fingerprints and what else identifies it.
struct FingerprintedMediaFile {
  CameraMediaFile file;
  std::string sourceFingerprint;                       // SHA-256 of all bytes of the camera file
  std::optional<std::string> mediaPayloadFingerprint;  // of a JPEG's picture without its metadata
  std::optional<Date> captureDate;
  std::optional<MediaMetadata> metadata;
  // The processed fingerprint of an interrupted import of this source, if the history holds one.
  std::optional<std::string> pendingProcessedFingerprint;
  // Whether the history has a mark of an interrupted import of this source. Only a match by content may then
  // decide that the file is in the library.
  bool requiresExactReconciliation = false;

  const std::string& fingerprint() const { return sourceFingerprint; }

  friend bool operator==(const FingerprintedMediaFile&, const FingerprintedMediaFile&) = default;
};

}  // namespace tolvander
