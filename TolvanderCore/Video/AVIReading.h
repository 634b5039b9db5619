#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/FileReader.h"

namespace tolvander {

// The position of the bytes of one video frame or one piece of sound.
struct AVIChunk {
  std::uint64_t offset = 0;  // of the data, from the start of the file
  std::uint32_t size = 0;    // at least 1
  std::uint32_t slots = 1;   // for how many slots a frame is shown; not used for sound

  friend bool operator==(const AVIChunk&, const AVIChunk&) = default;
};

// The encodings of sound whose number of samples follows from the number of bytes.
enum class AVISoundEncoding { pcm, aLaw, muLaw, imaADPCM, microsoftADPCM };

// A sample is the sound of one instant, all channels. A unit is the smallest number of samples that fills
// whole bytes: a PCM sample or an ADPCM block.
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

// The content of an AVI, as its chunks, index, header counts and pictures agree on it (Documentation/avi.md
// has the rules). It is used to check an export, so it shares no code with the reader that feeds the export.
struct AVIReading {
  // The maximum number of chunks, and of entries of an index. A video of two hours has half as many.
  static constexpr std::size_t maximumChunks = 1'048'576;

  // The maximum size of one video frame in bytes.
  static constexpr std::uint32_t maximumFrameSize = 33'554'432;

  // Streams without samples are left out. There is at least one video track.
  std::vector<AVIVideoTrack> video;
  std::vector<AVISoundTrack> sound;

  // Whether the file begins as an AVI does. Throws PosixError.
  static bool isAVI(const FileReader& file);

  // Reads the headers, the chunk headers and the index, and the beginning and end of each picture where the
  // rules require that. Takes time in proportion to the size of the file, and memory in proportion to the
  // number of chunks, up to 64 MiB. Throws MovieError::unreadable with the reason if the file is refused,
  // PosixError if it can't be read, and CancellationError, checked at each chunk.
  static AVIReading of(const FileReader& file, const CancellationToken& token = {});
};

}  // namespace tolvander
