#pragma once

#include <optional>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/PayloadIdentity.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander {

// The proof that an exported movie is its source in another container. Stateless; safe on every thread. The
// answers without a throw are the single comparisons that it consists of.
class VideoExportProof {
 public:
  VideoExportProof() = delete;

  // Seconds by which the durations of a whole movie may differ: one frame of the source, and at least a tenth
  // of a second.
  static double durationTolerance(double sourceFrameRate);

  // Picture size, duration (a difference of the tolerance itself is allowed), frame rate within 0.1, and
  // whether there is sound.
  static bool metadataAgrees(const VideoMediaMetadata& source, const VideoMediaMetadata& exported);

  // Start and duration, each less than a tenth of a second apart.
  static bool timeRangeAgrees(const MovieTrack& source, const MovieTrack& exported);

  // Less than a second apart. A source without a date asks for none.
  static bool captureDateAgrees(std::optional<Date> source, std::optional<Date> exported);

  // As many tracks of this kind in both, and each pair with the same time range and the same payload, which
  // is what it returns, in the tracks' order. Reads all of them. Throws
  // CharmeraVideoProcessingError::invalidExport where they differ and where a track of either can't be read.
  // Throws CancellationError.
  static std::vector<PayloadIdentity> proveTracks(MediaType type, const Movie& source, const Movie& exported,
                                                  const CancellationToken& token);
};

}  // namespace tolvander
