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

// The size that a JPEG names in its frame header (ITU-T T.81, B.2.2). Absent where there is no such header
// before the picture, or where it names no size.
std::optional<FrameSize> jpegFrameSize(std::span<const std::byte> bytes);

// The size that a frame of another encoding or its track's parameter sets name, as far as libav's parsers
// know the encoding (H.264, HEVC, MPEG-4 among them). Parses headers and decodes no picture.
std::optional<FrameSize> parsedFrameSize(const AVCodecParameters& parameters, const AVPacket& packet);

}  // namespace tolvander::platform::linux_
