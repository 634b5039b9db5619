#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/PayloadIdentity.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/Video/AVIReading.h"

namespace tolvander {

// The proof that an exported movie is an AVI in another container. It compares the movie with the engine's
// own reading of the AVI and not with the reader that fed the export, whose mistakes would be in both sides.
// Holds the source open. Safe on several threads at once.
class AVIExportProof {
 public:
  // Absent where the source is no AVI. Throws CharmeraVideoProcessingError::invalidVideo where the engine's
  // reading refuses it, and where that reading has other tracks than the movie that feeds the export: other
  // numbers, encodings, durations or frame rates. Throws CancellationError.
  static std::optional<AVIExportProof> forSource(const Movie& source, const CancellationToken& token);

  // As many tracks of this kind in the exported movie; each with the encoding, the samples and the bytes of
  // the AVI's, starting and ending less than a tenth of a second away from it; and each frame with its own
  // bytes, shown at its time for its duration, give or take a millisecond. Returns the tracks' payloads in
  // their order. Reads the source once and the movie once, side by side. Throws
  // CharmeraVideoProcessingError::invalidExport where anything differs or can't be read, and
  // CancellationError.
  std::vector<PayloadIdentity> proveTracks(MediaType type, const Movie& exported,
                                           const CancellationToken& token) const;

 private:
  AVIExportProof(std::unique_ptr<const FileReader> file, AVIReading reading);

  std::unique_ptr<const FileReader> file_;
  AVIReading reading_;
};

}  // namespace tolvander
