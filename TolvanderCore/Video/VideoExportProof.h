#pragma once

#include <optional>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/PayloadIdentity.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander {

// Checks that an exported movie holds the same samples as its source. Stateless; safe on every thread. The
// functions that return a bool are the single comparisons.
class VideoExportProof {
 public:
  VideoExportProof() = delete;

  // The seconds by which the durations of the movies may differ: one frame of the source, but at least 0.1 s.
  static double durationTolerance(double sourceFrameRate);

  // Compares the picture size, the duration (which may differ by the tolerance), the frame rate (by 0.1), and
  // whether there is sound.
  static bool metadataAgrees(const VideoMediaMetadata& source, const VideoMediaMetadata& exported);

  // Whether start and duration each differ by less than 0.1 s.
  static bool timeRangeAgrees(const MovieTrack& source, const MovieTrack& exported);

  // Whether the dates differ by less than a second. If the source has no date, any date agrees.
  static bool captureDateAgrees(std::optional<Date> source, std::optional<Date> exported);

  // Checks that both movies have the same number of tracks of this kind, and that each pair has the same time
  // range and the same payload. Returns the payloads in the tracks' order. Reads all tracks. Throws
  // CancellationError, and CharmeraVideoProcessingError::invalidExport if they differ or a track of either
  // movie can't be read.
  static std::vector<PayloadIdentity> proveTracks(MediaType type, const Movie& source, const Movie& exported,
                                                  const CancellationToken& token);
};

}  // namespace tolvander
