#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace tolvander {

// The kind, size and duration of a picture or video.
struct MediaMetadata {
  enum class Kind { image, video };

  Kind kind = Kind::image;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  std::optional<double> duration;  // seconds

  // Whether the two can be the same item: the same kind, the same size (or width and height swapped) and, for
  // videos, durations that differ by at most 0.1 seconds. A size below 1 matches nothing, nor does a video's
  // duration that is absent, not finite or not above 0.
  bool matches(const MediaMetadata& other) const;

  friend bool operator==(const MediaMetadata&, const MediaMetadata&) = default;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::MediaMetadata> {
  std::size_t operator()(const tolvander::MediaMetadata& metadata) const noexcept;
};
