#pragma once

#include <memory>

#include "Platform/Linux/Movies/AVIHeaders.h"
#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

struct CodecParametersDeleter {
  void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};
using CodecParametersPointer = std::unique_ptr<AVCodecParameters, CodecParametersDeleter>;

// The codec parameters of a video or audio stream from its strf chunk (BITMAPINFOHEADER; WAVEFORMATEX). Null
// if the header of audio is damaged: unknown codec, no channels, no sample rate, ADPCM without block size,
// or PCM whose sample rate agrees neither with strh nor with its own byte rate. Throws std::bad_alloc.
CodecParametersPointer aviParameters(const AVIStreamHeader& stream);

// The pixel aspect ratio of a video stream from its vprp chunk (OpenDML 1.02); 0/1 if unknown.
AVRational aviPixelShape(const AVIStreamHeader& stream);

}  // namespace tolvander::platform::linux_
