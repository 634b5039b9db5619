#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "TolvanderCore/CharmeraVideoProcessing.h"
#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/ProvenMovie.h"

namespace tolvander {

// Rewraps a video as a QuickTime movie without re-encoding it, reads the movie back, and compares it with its
// source track by track and byte by byte.
class NativeCharmeraVideoProcessor final : public CharmeraVideoProcessing {
 public:
  static constexpr std::int64_t version = 2;
  static constexpr std::int64_t maximumSourceBytes =
      8'589'934'592;  // of a source, and of the movie made from it

  // The time limit of an export, for a source of this duration in seconds.
  using TimeLimit = std::function<std::chrono::nanoseconds(double sourceDuration)>;

  // 8 times the source's duration, at least 60 and at most 1800 seconds.
  static std::chrono::nanoseconds exportTimeLimit(double sourceDuration);

  explicit NativeCharmeraVideoProcessor(
      CharmeraVideoSupportStatus supportStatus = CharmeraVideoSupportStatus::available,
      std::shared_ptr<const MovieExporter> exporter = platformMovieExporter(),
      TimeLimit timeLimit = exportTimeLimit);

  CharmeraVideoSupportStatus supportStatus() const override { return supportStatus_; }

  // The support status in the result is always `available`, whatever this processor's own.
  CharmeraVideoProbe probe(const FileURL& sourceURL, std::optional<Date> sourceModificationDate,
                           const CancellationToken& token) const override;
  void transcode(const FileURL& sourceURL, const FileURL& destinationURL,
                 const CancellationToken& token) const override;

  // Like transcode, but returns what was compared. With `cameraZone`, the source is a file that a camera
  // wrote: its modification date on FAT is a local time in that zone (see cameraFileResourceValues). Without
  // it, the source is a copy that this program wrote, as in transcode.
  ProvenMovie rewrap(const FileURL& sourceURL, const FileURL& destinationURL,
                     const std::optional<TimeZone>& cameraZone, const CancellationToken& token) const;

 private:
  CharmeraVideoSupportStatus supportStatus_;
  std::shared_ptr<const MovieExporter> exporter_;
  TimeLimit timeLimit_;
};

}  // namespace tolvander
