#pragma once

#include <memory>

#include "Platform/Linux/Movies/AVIHeaders.h"
#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

struct CodecParametersDeleter {
  void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};
using CodecParametersPointer = std::unique_ptr<AVCodecParameters, CodecParametersDeleter>;

// The parameters of a video or sound stream by its strf chunk (BITMAPINFOHEADER; WAVEFORMATEX). Null where
// the header of sound is damaged: an unknown encoding, no channels, no sample rate, ADPCM without a block
// size, and PCM whose sample rate agrees neither with strh nor with its own bytes a second. Throws
// std::bad_alloc.
CodecParametersPointer aviParameters(const AVIStreamHeader& stream);

// The shape of a video stream's pixels by its vprp chunk; 0/1 where that isn't known.
AVRational aviPixelShape(const AVIStreamHeader& stream);

}  // namespace tolvander::platform::linux_
