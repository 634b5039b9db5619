#pragma once

#include <cstdint>
#include <string>

namespace tolvander::tests {

// A small grey picture as a baseline JPEG (ITU-T T.81) that every decoder reads: random grey blocks of 8 by 8
// pixels, the same for the same seed. Costs about 10 bits a block, 30 KB for 1440 by 1080. Width and height
// are from 1 to 65535.
std::string jpegFrame(unsigned width, unsigned height, std::uint32_t seed);

// The same with another size in its frame header, so that it claims what it doesn't hold.
std::string jpegFrameClaiming(unsigned claimedWidth, unsigned claimedHeight, std::uint32_t seed);

}  // namespace tolvander::tests
