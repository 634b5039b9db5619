#pragma once

#include <cstddef>
#include <span>

#include "Samples/JPEGBuilder.h"
#include "Samples/SyntheticPhoto.h"

namespace tolvander::tests {

// The picture as a baseline JPEG (ITU-T T.81) without any application segment, colour at half the resolution
// both ways, with the Huffman tables of that standard. `quality` is from 1 to 100. The transform is the exact
// one on integers, so the same picture is the same file on every machine. Throws std::runtime_error.
Bytes encodeJPEG(const RGBImage& image, int quality);

// The picture in a JPEG. Throws std::runtime_error also where the file is damaged and a decoder that only
// warns would go on.
RGBImage decodeJPEG(std::span<const std::byte> file);

}  // namespace tolvander::tests
