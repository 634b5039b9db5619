#pragma once

#include <optional>
#include <vector>

#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/MovieSource.h"
#include "Platform/Linux/Movies/SampleLayout.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {

// Properties of an opened movie.
struct Movie::Contents {
  struct Track {
    MediaType type = MediaType::video;
    int stream = 0;
    AVCodecID codec = AV_CODEC_ID_NONE;
    std::optional<platform::linux_::SampleLayout> layout;
  };

  platform::linux_::MovieSource source;
  std::vector<Track> tracks = {};  // video and audio, in the order of the file
  std::vector<MovieTrack> video = {};
  std::vector<MovieTrack> audio = {};
  std::vector<AVRational> frameRates = {};  // of the video tracks, if the file has them; else empty
  double duration = 0;
  std::optional<MovieCreationDate> creationDate = {};
};

}  // namespace tolvander
