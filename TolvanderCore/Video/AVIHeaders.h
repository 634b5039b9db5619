#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Video/AVIBytes.h"
#include "TolvanderCore/Video/AVIReading.h"

namespace tolvander {

// Private to AVIReading: the headers of an AVI before its first chunk of data.

// The meaning of a chunk by its name, for known streams.
struct AVIChunkRole {
  enum class Kind {
    sample,         // data of a video or sound stream
    ignored,        // data of a stream of another kind
    contradiction,  // data of a wrong kind for its stream, or of a stream that doesn't exist
    noData,         // all other chunks
  };
  Kind kind = Kind::noData;
  std::size_t stream = 0;  // of a sample
};

struct AVIStream {
  enum class Kind { video, sound, ignored };

  Kind kind = Kind::ignored;
  AVIVideoTrack video = {};  // without frames
  AVISoundFormat sound = {};
  std::uint32_t length = 0;                           // dwLength of strh; for video, the number of slots
  double soundSeconds = 0;                            // the duration of sound by strh; 0 if it has none
  std::optional<std::uint64_t> index = std::nullopt;  // the offset of the chunk header of `indx`
};

struct AVIHeaders {
  std::vector<AVIStream> streams;
  std::optional<std::uint32_t> totalFrames;  // of the first video stream, from dmlh, or else from avih
  std::uint64_t movie = 0;                   // the offset of the chunk header of the first `LIST movi`

  AVIChunkRole roleOf(std::string_view chunkName) const;
};

// Throws MovieError::unreadable. The reason is a part of a sentence.
[[noreturn]] void refuseAVI(const FileURL& url, std::string_view reason);

// Reads the chunks up to the first `LIST movi`, ignoring the sizes of the lists around them. Throws
// MovieError::unreadable if they are damaged, if a stream has an unknown type, or if its rate or its sound
// format is missing, damaged or unknown.
AVIHeaders readAVIHeaders(AVIBytes& bytes, const FileURL& url);

}  // namespace tolvander
