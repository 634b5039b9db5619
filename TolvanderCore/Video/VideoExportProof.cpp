#include "TolvanderCore/Video/VideoExportProof.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <future>
#include <utility>

#include "TolvanderCore/CharmeraVideoProcessingError.h"

namespace tolvander {

namespace {

constexpr double tenthOfSecond = 0.1;
constexpr double frameRateTolerance = 0.1;

void require(bool holds) {
  if (!holds) {
    throw CharmeraVideoProcessingError(CharmeraVideoProcessingError::Case::invalidExport);
  }
}

// In floating point, because the difference of two distant dates exceeds the range of nanoseconds.
double seconds(Date date) { return std::chrono::duration<double>(date.time_since_epoch()).count(); }

// The payload of a track that could be read before. If that fails now, the export is not proven.
PayloadIdentity identityOf(const Movie& movie, MediaType type, std::size_t index,
                           const CancellationToken& token) {
  try {
    return PayloadIdentity::of(movie, type, index, token);
  } catch (const CharmeraVideoProcessingError&) {
    throw CharmeraVideoProcessingError(CharmeraVideoProcessingError::Case::invalidExport);
  }
}

}  // namespace

double VideoExportProof::durationTolerance(double sourceFrameRate) {
  return std::max(1 / sourceFrameRate, tenthOfSecond);
}

bool VideoExportProof::metadataAgrees(const VideoMediaMetadata& source, const VideoMediaMetadata& exported) {
  return exported.pixelWidth == source.pixelWidth && exported.pixelHeight == source.pixelHeight &&
         std::abs(exported.duration - source.duration) <= durationTolerance(source.frameRate) &&
         std::abs(exported.frameRate - source.frameRate) <= frameRateTolerance &&
         exported.hasAudio == source.hasAudio;
}

bool VideoExportProof::timeRangeAgrees(const MovieTrack& source, const MovieTrack& exported) {
  return std::abs(exported.start - source.start) < tenthOfSecond &&
         std::abs(exported.duration - source.duration) < tenthOfSecond;
}

bool VideoExportProof::captureDateAgrees(std::optional<Date> source, std::optional<Date> exported) {
  return !source || (exported && std::abs(seconds(*exported) - seconds(*source)) < 1);
}

std::vector<PayloadIdentity> VideoExportProof::proveTracks(MediaType type, const Movie& source,
                                                           const Movie& exported,
                                                           const CancellationToken& token) {
  const std::vector<MovieTrack>& sourceTracks = source.tracks(type);
  const std::vector<MovieTrack>& exportedTracks = exported.tracks(type);
  require(sourceTracks.size() == exportedTracks.size());
  std::vector<PayloadIdentity> identities;
  for (std::size_t index = 0; index < sourceTracks.size(); ++index) {
    require(timeRangeAgrees(sourceTracks[index], exportedTracks[index]));
    // In parallel, because hashing takes most of the time of a rewrap.
    auto sourceIdentity =
        std::async(std::launch::async, [&] { return identityOf(source, type, index, token); });
    PayloadIdentity exportedIdentity = identityOf(exported, type, index, token);
    require(sourceIdentity.get() == exportedIdentity);
    identities.push_back(std::move(exportedIdentity));
  }
  return identities;
}

}  // namespace tolvander
