#include "TolvanderCore/VideoMediaMetadata.h"

#include <cmath>
#include <string>
#include <string_view>

#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Foundation/InternetDateTime.h"

namespace tolvander {

namespace {

constexpr double maximumPixels = 8192;
constexpr double maximumSeconds = 7200;
constexpr double maximumFrameRate = 240;

bool isDimension(double pixels) { return std::isfinite(pixels) && pixels >= 1 && pixels <= maximumPixels; }

bool isPositiveUpTo(double maximum, double value) {
  return std::isfinite(value) && value > 0 && value <= maximum;
}

std::optional<Date> instantOf(const std::optional<MovieCreationDate>& creationDate) {
  if (!creationDate) {
    return std::nullopt;
  }
  if (creationDate->date || !creationDate->text) {
    return creationDate->date;
  }
  const std::string_view text = *creationDate->text;
  const auto date = dateFromInternetDateTime(text);
  return date ? date : dateFromInternetDateTimeWithFractionalSeconds(text);
}

}  // namespace

VideoMediaMetadata VideoMediaMetadata::load(const Movie& movie) {
  using Case = CharmeraVideoProcessingError::Case;
  if (movie.tracks(MediaType::video).empty()) {
    throw CharmeraVideoProcessingError(Case::invalidVideo);
  }
  const MovieTrack& video = movie.tracks(MediaType::video).front();
  if (!isDimension(video.naturalWidth) || !isDimension(video.naturalHeight) ||
      !isPositiveUpTo(maximumSeconds, movie.duration()) ||
      !isPositiveUpTo(maximumFrameRate, video.nominalFrameRate)) {
    throw CharmeraVideoProcessingError(Case::invalidVideo);
  }
  return {.pixelWidth = static_cast<std::int64_t>(video.naturalWidth),
          .pixelHeight = static_cast<std::int64_t>(video.naturalHeight),
          .duration = movie.duration(),
          .frameRate = video.nominalFrameRate,
          .hasAudio = !movie.tracks(MediaType::audio).empty(),
          .captureDate = instantOf(movie.creationDate())};
}

VideoMediaMetadata VideoMediaMetadata::load(const FileURL& url, const CancellationToken& token) {
  return load(openVideo(url, token));
}

Movie openVideo(const FileURL& url, const CancellationToken& token) {
  token.throwIfCancelled();
  try {
    return Movie(url, token);
  } catch (const Error&) {
    token.throwIfCancelled();
    throw CharmeraVideoProcessingError(CharmeraVideoProcessingError::Case::invalidVideo);
  }
}

}  // namespace tolvander
