#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

struct FrameSize {
  int width = 0;
  int height = 0;
};

// The size in the frame header of a JPEG (ISO/IEC 10918-1, B.2.2). Absent without a frame header before the
// image data, or if it has no size.
std::optional<FrameSize> jpegFrameSize(std::span<const std::byte> bytes);

// The size in a frame of another codec, or in the parameter sets of its track, if libav has a parser for the
// codec (H.264, HEVC, MPEG-4 and others). Parses headers only, without decoding.
std::optional<FrameSize> parsedFrameSize(const AVCodecParameters& parameters, const AVPacket& packet);

}  // namespace tolvander::platform::linux_
