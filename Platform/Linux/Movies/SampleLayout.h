#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

// How the bytes of a sound track divide into samples, for the encodings in which that is fixed. A sample here
// is one instant, all channels of it.
struct SampleLayout {
  std::size_t unitBytes = 0;        // a PCM frame, or an ADPCM block
  std::int64_t samplesPerUnit = 0;  // 1, or the samples of a block

  // An ADPCM block that is cut off is lost sound, the rest of a PCM frame is none.
  bool mayEndWithinUnit() const { return samplesPerUnit == 1; }
};

// PCM of every kind, mu-law and A-law, and the two ADPCM encodings of AVI files. Follows from the encoding,
// the channels and the block size, and from no count in a header, so that it is the same in every container.
// Absent for other encodings, and where the parameters make no sense.
std::optional<SampleLayout> sampleLayout(const AVCodecParameters& parameters);

// Whether the encoding is one of those that have a layout.
bool hasSampleLayout(AVCodecID codec);

// The media sub-type of an encoding, as QuickTime has it, first character highest.
std::uint32_t mediaSubtype(const AVCodecParameters& parameters);

// Cuts a track that comes in packets of any size into whole units, in order and without a gap.
class SampleUnits {
 public:
  explicit SampleUnits(std::size_t unitBytes) : unitBytes_(unitBytes) {}

  // Gives at most two spans of one or more whole units to `receive`, and keeps the rest for the next call.
  void add(std::span<const std::byte> bytes, const std::function<void(std::span<const std::byte>)>& receive);

  // Whether bytes are left that don't make up a unit.
  bool endsWithinUnit() const { return !carry_.empty(); }

 private:
  std::size_t unitBytes_;
  std::vector<std::byte> carry_;
};

}  // namespace tolvander::platform::linux_
