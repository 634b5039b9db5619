#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/MediaMetadata.h"

namespace tolvander {

// A camera file with its identities: the value that passes through the engine.
struct FingerprintedMediaFile {
  CameraMediaFile file;
  std::string sourceFingerprint;                       // of the camera file's bytes
  std::optional<std::string> mediaPayloadFingerprint;  // of the picture-bearing bytes
  std::optional<Date> captureDate;
  std::optional<MediaMetadata> metadata;
  // The processed fingerprint of an interrupted import of this source, if the history holds one.
  std::optional<std::string> pendingProcessedFingerprint;
  // The history holds a pending mark for this source, so only a content match may settle it.
  bool requiresExactReconciliation = false;

  const std::string& fingerprint() const { return sourceFingerprint; }

  friend bool operator==(const FingerprintedMediaFile&, const FingerprintedMediaFile&) = default;
};

}  // namespace tolvander
