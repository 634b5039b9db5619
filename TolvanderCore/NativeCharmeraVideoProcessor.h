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

// Rewraps a video as a QuickTime movie without encoding it anew, reads the movie back, and compares it with
// its source, track by track and byte by byte.
class NativeCharmeraVideoProcessor final : public CharmeraVideoProcessing {
 public:
  static constexpr std::int64_t version = 2;
  static constexpr std::int64_t maximumSourceBytes = 8'589'934'592;  // of a source, and of what is made of it

  // How long an export may take, by the seconds that the source lasts.
  using TimeLimit = std::function<std::chrono::nanoseconds(double sourceDuration)>;

  // 8 times the source's duration, at least 60 and at most 1800 seconds.
  static std::chrono::nanoseconds exportTimeLimit(double sourceDuration);

  explicit NativeCharmeraVideoProcessor(
      CharmeraVideoSupportStatus supportStatus = CharmeraVideoSupportStatus::available,
      std::shared_ptr<const MovieExporter> exporter = platformMovieExporter(),
      TimeLimit timeLimit = exportTimeLimit);

  CharmeraVideoSupportStatus supportStatus() const override { return supportStatus_; }

  // The support status that it gives is `available`, whatever this processor's own.
  CharmeraVideoProbe probe(const FileURL& sourceURL, std::optional<Date> sourceModificationDate,
                           const CancellationToken& token) const override;
  void transcode(const FileURL& sourceURL, const FileURL& destinationURL,
                 const CancellationToken& token) const override;

  // As transcode, and tells what it has proven of the movie. The source is a file that a camera wrote, whose
  // date on FAT is read in `cameraZone` (cameraFileResourceValues); without a zone, a copy that this system
  // wrote, as transcode's always is.
  ProvenMovie rewrap(const FileURL& sourceURL, const FileURL& destinationURL,
                     const std::optional<TimeZone>& cameraZone, const CancellationToken& token) const;

 private:
  CharmeraVideoSupportStatus supportStatus_;
  std::shared_ptr<const MovieExporter> exporter_;
  TimeLimit timeLimit_;
};

}  // namespace tolvander
