#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

// How the bytes of an audio track divide into samples, for codecs with a fixed layout. A sample here is one
// instant, all channels of it.
struct SampleLayout {
  std::size_t unitBytes = 0;        // a PCM frame, or an ADPCM block
  std::int64_t samplesPerUnit = 0;  // 1, or the samples of a block

  // A truncated ADPCM block is lost audio; an incomplete PCM frame isn't.
  bool mayEndWithinUnit() const { return samplesPerUnit == 1; }
};

// The layout of all kinds of PCM, mu-law and A-law, and the two ADPCM codecs of AVI files. Depends on codec,
// channels and block size, not on counts in headers, so that it is the same in every container. Absent for
// other codecs and invalid parameters.
std::optional<SampleLayout> sampleLayout(const AVCodecParameters& parameters);

// Whether the codec has such a layout.
bool hasSampleLayout(AVCodecID codec);

// The codec's FourCC in QuickTime, with the first character in the highest byte.
std::uint32_t mediaSubtype(const AVCodecParameters& parameters);

// Divides the bytes of a track, in packets of any size, into complete units.
class SampleUnits {
 public:
  explicit SampleUnits(std::size_t unitBytes) : unitBytes_(unitBytes) {}

  // Calls `receive` at most twice with one or more complete units, and keeps the rest for the next call.
  void add(std::span<const std::byte> bytes, const std::function<void(std::span<const std::byte>)>& receive);

  // Whether an incomplete unit is left.
  bool endsWithinUnit() const { return !carry_.empty(); }

 private:
  std::size_t unitBytes_;
  std::vector<std::byte> carry_;
};

}  // namespace tolvander::platform::linux_
