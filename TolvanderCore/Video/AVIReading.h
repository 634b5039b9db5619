#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/FileReader.h"

namespace tolvander {

// The bytes of one video frame, or of one piece of sound.
struct AVIChunk {
  std::uint64_t offset = 0;  // of the data, from the start of the file
  std::uint32_t size = 0;    // at least 1
  std::uint32_t slots = 1;   // how long a frame is shown; of no meaning for sound

  friend bool operator==(const AVIChunk&, const AVIChunk&) = default;
};

// The encodings of sound whose samples can be counted by their bytes.
enum class AVISoundEncoding { pcm, aLaw, muLaw, imaADPCM, microsoftADPCM };

// A sample is one instant, all channels of it. A unit is the smallest number of whole samples that has bytes
// of its own.
struct AVISoundFormat {
  AVISoundEncoding encoding = AVISoundEncoding::pcm;
  std::uint32_t sampleRate = 0;      // samples a second
  std::uint32_t bitsPerSample = 0;   // of one channel
  std::uint32_t unitBytes = 0;       // of a PCM sample or an ADPCM block
  std::uint32_t samplesPerUnit = 0;  // 1, or those of a block

  friend bool operator==(const AVISoundFormat&, const AVISoundFormat&) = default;
};

struct AVIVideoTrack {
  std::uint32_t rate = 0;  // a slot lasts scale / rate seconds
  std::uint32_t scale = 0;
  bool isMotionJPEG = false;
  std::vector<AVIChunk> frames = {};
  std::uint32_t slots = 0;  // of all frames; the first frame is shown from 0

  double seconds(std::uint32_t slotCount) const {
    return static_cast<double>(slotCount) * scale / static_cast<double>(rate);
  }
};

struct AVISoundTrack {
  AVISoundFormat format = {};
  std::vector<AVIChunk> chunks = {};
  std::uint64_t byteCount = 0;  // of all chunks
};

// What an AVI holds, by the agreement of its structures: chunks, index, header counts and pictures
// (Documentation/avi.md has the rules). Made for the proof of an export, so it shares no code with the reader
// that feeds the export.
struct AVIReading {
  // More chunks, or more entries of an index, than this are refused. A video of two hours has half of it.
  static constexpr std::size_t maximumChunks = 1'048'576;

  // Bytes of one video frame, more of which are refused.
  static constexpr std::uint32_t maximumFrameSize = 33'554'432;

  // Streams without samples are left out. There is at least one video track.
  std::vector<AVIVideoTrack> video;
  std::vector<AVISoundTrack> sound;

  // Whether the file begins as an AVI does. Throws PosixError.
  static bool isAVI(const FileReader& file);

  // Reads the headers, the chunk headers and the index, and both ends of each picture where the rules ask for
  // them. Linear in the size of the file; memory grows with the chunks, up to 64 MiB. Throws
  // MovieError::unreadable with the reason where the file is refused, PosixError where it can't be read, and
  // CancellationError, looked for at each chunk.
  static AVIReading of(const FileReader& file, const CancellationToken& token = {});
};

}  // namespace tolvander
