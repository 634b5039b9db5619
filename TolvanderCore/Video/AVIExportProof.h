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

// Checks that an exported movie holds the same samples as its source, an AVI. It compares the movie with an
// independent reading of the AVI, and not with the reader that fed the export, whose errors would be on both
// sides. Holds the source open. Safe on several threads at once.
class AVIExportProof {
 public:
  // Absent if the source is not an AVI. Throws CancellationError, and
  // CharmeraVideoProcessingError::invalidVideo if the independent reading refuses the source, or if its
  // tracks differ from those of the movie that feeds the export in number, encoding, duration or frame rate.
  static std::optional<AVIExportProof> forSource(const Movie& source, const CancellationToken& token);

  // Checks the tracks of this kind: the exported movie must have as many; each must have the encoding, the
  // samples and the bytes of the AVI's track, and start and end less than 0.1 s away from it; and each frame
  // must have the same bytes, and the same time and duration to the millisecond. Returns the tracks' payloads
  // in their order. Reads the source and the movie once each, in parallel. Throws
  // CharmeraVideoProcessingError::invalidExport if anything differs or can't be read, and CancellationError.
  std::vector<PayloadIdentity> proveTracks(MediaType type, const Movie& exported,
                                           const CancellationToken& token) const;

 private:
  AVIExportProof(std::unique_ptr<const FileReader> file, AVIReading reading);

  std::unique_ptr<const FileReader> file_;
  AVIReading reading_;
};

}  // namespace tolvander
