#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Movies/AVIBytes.h"

namespace tolvander::platform::linux_ {

enum class AVIStreamType { video, audio, ignored };

// What the header says of a stream: the content of its strh and strf chunks.
struct AVIStreamHeader {
  AVIStreamType type = AVIStreamType::ignored;
  std::uint32_t handler = 0;  // the encoding of video, where strf doesn't name it
  std::uint32_t scale = 0;    // a slot lasts scale / rate seconds; for video neither is 0
  std::uint32_t rate = 0;
  std::uint32_t length = 0;  // in slots
  std::string format;        // BITMAPINFOHEADER or WAVEFORMATEX and up to 4096 bytes with what follows
  std::string properties;    // the content of vprp (OpenDML), empty without one
  std::optional<AVIChunkHeader> index;  // indx (OpenDML)
};

struct AVIHeaders {
  std::vector<AVIStreamHeader> streams;
  std::optional<std::uint32_t> frames;  // of the first video stream: dmlh, or avih without that
  AVIChunkHeader movie;                 // the first list with samples
};

// The most chunks or index entries of an AVI: almost 5 hours at 30 frames a second, each with a chunk of
// sound. Bounds memory and time.
constexpr std::int64_t mostAVIChunks = 1'048'576;

// Reads the headers in front of the samples. The sizes of lists are not looked at. Throws
// MovieError::unreadable where a stream can't be told or has another type than pictures, sound, text, MIDI or
// data, because its chunks could be sound; and CancellationError.
AVIHeaders readAVIHeaders(AVIBytes& bytes);

}  // namespace tolvander::platform::linux_
