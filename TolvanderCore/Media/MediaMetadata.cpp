#include "TolvanderCore/MediaMetadata.h"

#include <algorithm>
#include <cmath>

#include "TolvanderCore/Foundation/HashCombine.h"

namespace tolvander {

namespace {

bool isUsable(std::optional<double> duration) {
  return duration && std::isfinite(*duration) && *duration > 0;
}

// Whether the durations differ by at most 0.1 s. The allowance is for rounding: in binary, 1.1 - 1.0 is
// slightly more than 0.1.
bool durationsMatch(std::optional<double> left, std::optional<double> right) {
  constexpr double tolerance = 0.1;
  if (!isUsable(left) || !isUsable(right)) {
    return false;
  }
  const double roundingError = std::max(*left, *right) * 1e-15;
  return std::abs(*left - *right) <= tolerance + roundingError;
}

}  // namespace

bool MediaMetadata::matches(const MediaMetadata& other) const {
  if (kind != other.kind || std::min({pixelWidth, pixelHeight, other.pixelWidth, other.pixelHeight}) < 1) {
    return false;
  }
  if (kind == Kind::video && !durationsMatch(duration, other.duration)) {
    return false;
  }
  return (pixelWidth == other.pixelWidth && pixelHeight == other.pixelHeight) ||
         (pixelWidth == other.pixelHeight && pixelHeight == other.pixelWidth);
}

}  // namespace tolvander

std::size_t std::hash<tolvander::MediaMetadata>::operator()(
    const tolvander::MediaMetadata& metadata) const noexcept {
  return tolvander::hashOfFields(metadata.kind, metadata.pixelWidth, metadata.pixelHeight, metadata.duration);
}
