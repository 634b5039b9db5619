#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace tolvander {

// What a picture or film looks like from outside.
struct MediaMetadata {
  enum class Kind { image, video };

  Kind kind = Kind::image;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  std::optional<double> duration;  // seconds

  // Whether the two can be one item: the same kind, sizes that are equal or turned by a quarter and, for
  // videos, durations at most 0.1 seconds apart. Sizes below 1 and durations that are absent, not finite or
  // not above 0 match nothing.
  bool matches(const MediaMetadata& other) const;

  friend bool operator==(const MediaMetadata&, const MediaMetadata&) = default;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::MediaMetadata> {
  std::size_t operator()(const tolvander::MediaMetadata& metadata) const noexcept;
};
