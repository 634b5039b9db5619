#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// The sound of an AVI, as its WAVEFORMATEX names it.
struct AVIAudioFormat {
  std::uint16_t formatTag = 0;
  std::uint16_t channels = 1;
  std::uint32_t sampleRate = 8000;
  std::uint16_t bitsPerSample = 0;
  std::uint16_t blockAlign = 1;       // bytes of a PCM frame or an ADPCM block
  std::uint16_t samplesPerBlock = 1;  // per channel

  static AVIAudioFormat pcm8(std::uint16_t channels = 1, std::uint32_t sampleRate = 8000);
  static AVIAudioFormat pcm16(std::uint16_t channels = 1, std::uint32_t sampleRate = 8000);
  static AVIAudioFormat muLaw(std::uint16_t channels = 1, std::uint32_t sampleRate = 8000);
  static AVIAudioFormat imaADPCM(std::uint16_t channels = 1, std::uint32_t sampleRate = 8000);
  static AVIAudioFormat microsoftADPCM(std::uint16_t channels = 1, std::uint32_t sampleRate = 8000);
};

enum class AVIIndex { whole, half, none };

// What the offsets of idx1 count from. Cameras use all three.
enum class AVIIndexBase { movieWord, behindMovieWord, fileStart };

// One entry of idx1.
struct AVIIndexEntry {
  std::string chunk;         // its name, such as "00dc"
  std::uint64_t offset = 0;  // of the chunk's header in the file
  std::uint32_t size = 0;    // of the chunk's data
};

// What an AVI says of itself. A header holds whatever is put here; a field left empty is filled with the
// truth.
struct AVIHeader {
  std::string videoCodec = "MJPG";
  std::uint32_t width = 64;
  std::uint32_t height = 48;
  std::uint32_t rate = 30;  // frames a second are rate / scale
  std::uint32_t scale = 1;
  unsigned videoStreams = 1;
  std::vector<AVIAudioFormat> audio = {};
  bool textStream = false;                    // one more stream, of type "txts", behind the others
  std::vector<std::string> dataStreams = {};  // the types of further streams behind that one, such as "mids"
  std::string packer = {};  // not empty: who wrote the file, as text in strd, ISFT and a JUNK chunk
  AVIIndex index = AVIIndex::whole;
  std::uint32_t chunksPerRIFF = 0;  // not 0: OpenDML, with a further RIFF list after so many chunks

  std::optional<std::uint32_t> claimedFrames = {};      // in avih, and as the length of each video stream
  std::optional<std::uint32_t> claimedRIFFSize = {};    // of the first RIFF list
  std::optional<std::uint32_t> claimedAudioScale = {};  // the divisor of the audio stream's rate
  std::optional<std::uint32_t> claimedAudioLength = {};
  std::optional<std::uint32_t> claimedTotalFrames = {};  // in avih, where it isn't claimedFrames
  std::optional<std::uint32_t> extendedFrames = {};      // writes OpenDML's own count (dmlh) with this number
  std::optional<std::string> claimedCompression = {};    // biCompression; strh's handler stays videoCodec
  std::optional<std::uint32_t> claimedMovieSize = {};    // of the first list of chunks (movi)
  int movieSizeError = 0;                                // added to the size of the first list of chunks
  bool padsOddChunks = true;
  std::uint32_t alignment = 1;  // zeros behind each chunk, up to the next multiple
  AVIIndexBase indexBase = AVIIndexBase::movieWord;
  std::string behindIndex = {};  // bytes at the end of the first RIFF list
  std::function<void(std::vector<AVIIndexEntry>&)> changeIndex = {};  // before idx1 is written
  std::function<void(std::string&)> changeAudioFormat = {};           // WAVEFORMATEX, before it is written
};

// Writes a plain RIFF AVI of the kind that cameras write (Microsoft's AVI RIFF File Reference, with the
// OpenDML extensions 1.02 on request), chunk by chunk in the order of the calls, holding only the index in
// memory. The chunk sizes of the lists are filled in at the end. Throws std::runtime_error.
class AVIWriter {
 public:
  AVIWriter(const FileURL& url, AVIHeader header);

  // A chunk of a video stream; an empty one is a repeated frame.
  void video(std::string_view bytes, unsigned stream = 0);

  // A chunk of an audio stream, counted from 0 among these.
  void audio(std::string_view bytes, unsigned stream = 0);

  // A chunk of the text stream.
  void text(std::string_view bytes);

  // A chunk of a data stream, counted from 0 among these. `kind` is the end of the chunk's name.
  void data(std::string_view kind, std::string_view bytes, unsigned stream = 0);

  // A video chunk whose header says `claimedSize`; the index says the truth.
  void videoClaiming(std::uint32_t claimedSize, std::string_view bytes, unsigned stream = 0);

  // A frame that is only in the index: the video stream's last chunk once more.
  void repeatByIndex(unsigned stream = 0);

  // A frame that is only in the index: an entry of 0 bytes, at the place of the next chunk.
  void dropByIndex(unsigned stream = 0);

  // Bytes between the chunks, in no index.
  void raw(std::string_view bytes);

  // Where the next chunk will begin, for tests that cut or damage the file.
  std::uint64_t position() const { return position_; }

  // Writes the index and the sizes. Nothing may be written afterwards.
  void finish();

 private:
  struct Entry {
    unsigned stream = 0;
    AVIIndexEntry chunk;
  };
  struct Stream {
    bool isVideo = false;
    std::uint32_t unit = 1;          // bytes that the header's length counts as one; video: 0, a chunk
    std::uint64_t lengthOffset = 0;  // of the length in strh
    std::uint64_t superIndex = 0;    // of the content of indx
    std::uint32_t superEntries = 0;
    std::uint64_t chunks = 0;
    std::uint64_t bytes = 0;
  };

  void put(std::string_view bytes);
  void patch(std::uint64_t offset, std::string_view bytes);
  void patchSize(std::uint64_t sizeOffset);
  void putHeader();
  void putStream(Stream stream, const std::string& header, const std::string& format);
  void putChunk(unsigned stream, std::string_view kind, std::string_view bytes,
                std::optional<std::uint32_t> claimedSize = {});
  void addEntry(unsigned stream, const AVIIndexEntry& chunk);
  void beginRIFF(std::string_view form);
  void beginMovie();
  void endRIFF();
  void putStandardIndex(unsigned stream);
  void putOldIndex();
  std::uint64_t indexOrigin() const;

  std::ofstream file_;
  AVIHeader header_;
  std::uint64_t position_ = 0;
  std::uint64_t riffSize_ = 0;  // where the sizes of the open lists stand
  std::uint64_t movieSize_ = 0;
  std::uint64_t framesOffset_ = 0;  // of the frame count in avih
  unsigned riffs_ = 0;
  std::vector<Stream> streams_;
  std::vector<Entry> entries_;  // of the open RIFF list
};

}  // namespace tolvander::tests
