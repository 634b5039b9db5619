#pragma once

#include <optional>
#include <vector>

#include "Platform/Linux/MovieDemuxer.h"
#include "Platform/Linux/MovieFile.h"
#include "Platform/Linux/SampleLayout.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {

// What is known of an opened movie.
struct Movie::Contents {
  struct Track {
    MediaType type = MediaType::video;
    int stream = 0;
    AVCodecID codec = AV_CODEC_ID_NONE;
    std::optional<platform::linux_::SampleLayout> layout;
  };

  platform::linux_::MovieFile file;
  platform::linux_::MovieContainer container;
  std::vector<Track> tracks;  // of both kinds, in the order of the file
  std::vector<MovieTrack> video;
  std::vector<MovieTrack> audio;
  double duration = 0;
  std::optional<MovieCreationDate> creationDate;
};

}  // namespace tolvander
