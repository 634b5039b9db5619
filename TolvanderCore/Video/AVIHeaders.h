#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Video/AVIBytes.h"
#include "TolvanderCore/Video/AVIReading.h"

namespace tolvander {

// Private to AVIReading: what an AVI says of itself before its first chunk of data.

// What a chunk with a given name is to a reader that knows the streams.
struct AVIChunkRole {
  enum class Kind {
    sample,         // of a video or sound stream
    ignored,        // of a stream of another kind
    contradiction,  // data that its stream can't have, or that no stream has
    noData,         // everything else
  };
  Kind kind = Kind::noData;
  std::size_t stream = 0;  // of a sample
};

struct AVIStream {
  enum class Kind { video, sound, ignored };

  Kind kind = Kind::ignored;
  AVIVideoTrack video = {};  // without frames
  AVISoundFormat sound = {};
  std::uint32_t length = 0;                           // dwLength of strh; of video, slots
  double soundSeconds = 0;                            // of sound, by strh; 0 where it doesn't say
  std::optional<std::uint64_t> index = std::nullopt;  // where the chunk header of `indx` is
};

struct AVIHeaders {
  std::vector<AVIStream> streams;
  std::optional<std::uint32_t> totalFrames;  // of the first video stream, by dmlh or else avih
  std::uint64_t movie = 0;                   // where the chunk header of the first `LIST movi` is

  AVIChunkRole roleOf(std::string_view chunkName) const;
};

// Ends a reading. The reason is a part of a sentence.
[[noreturn]] void refuseAVI(const FileURL& url, std::string_view reason);

// Reads the chunks up to the first `LIST movi`. The sizes of the lists around them are not looked at. Throws
// MovieError::unreadable where they are damaged, and where a stream is of an unknown type, its rate or its
// sound format is missing, damaged or unknown.
AVIHeaders readAVIHeaders(AVIBytes& bytes, const FileURL& url);

}  // namespace tolvander
