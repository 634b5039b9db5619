#pragma once

#include <cstdint>
#include <vector>

namespace tolvander::tests {

struct RGBImage {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> pixels;  // red, green, blue; row by row from the top

  friend bool operator==(const RGBImage&, const RGBImage&) = default;
};

// Sixty-four bits without any pattern that depend on nothing but `value` (the finalizer of SplitMix64).
std::uint64_t scrambled(std::uint64_t value);

// A landscape that never was: sky above a rugged horizon, clouds and undergrowth of value noise in octaves,
// and the grain of a small sensor. It compresses like a photo, which neither a plain colour nor pure noise
// does. Integers alone make it, so the same arguments give the same pixels on every machine.
RGBImage syntheticPhoto(unsigned width, unsigned height, std::uint64_t seed);

}  // namespace tolvander::tests
