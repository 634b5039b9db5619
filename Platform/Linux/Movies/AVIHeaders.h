#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Movies/AVIBytes.h"

namespace tolvander::platform::linux_ {

enum class AVIStreamType { video, audio, ignored };

// The header of a stream: the content of its strh and strf chunks (AVI RIFF File Reference,
// AVISTREAMHEADER).
struct AVIStreamHeader {
  AVIStreamType type = AVIStreamType::ignored;
  std::uint32_t handler = 0;  // codec of video, if strf doesn't name it
  std::uint32_t scale = 0;    // a slot lasts scale / rate seconds; for video neither is 0
  std::uint32_t rate = 0;
  std::uint32_t length = 0;  // in slots
  std::string format;        // BITMAPINFOHEADER or WAVEFORMATEX and up to 4096 bytes with what follows
  std::string properties;    // content of vprp (OpenDML 1.02), empty if there is none
  std::optional<AVIChunkHeader> index;  // indx (OpenDML)
};

struct AVIHeaders {
  std::vector<AVIStreamHeader> streams;
  std::optional<std::uint32_t> frames;  // of the first video stream: dmlh, or avih without that
  AVIChunkHeader movie;                 // the first list with samples
};

// The largest number of chunks or index entries of an AVI: almost 5 hours at 30 frames per second, each with
// a chunk of audio. Limits memory and time.
constexpr std::int64_t mostAVIChunks = 1'048'576;

// Reads the headers before the samples. Ignores the sizes of lists. Throws MovieError::unreadable if a
// stream header is damaged, or its type isn't video, audio, text, MIDI or data, because its chunks could be
// audio; and CancellationError.
AVIHeaders readAVIHeaders(AVIBytes& bytes);

}  // namespace tolvander::platform::linux_
