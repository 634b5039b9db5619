#include "Samples/TestClip.h"

#include <filesystem>
#include <random>

#include "Samples/JPEGFrame.h"

namespace tolvander::tests {

namespace {

// Sound of any bytes, apart from the heads of ADPCM blocks, in which decoders accept only some.
std::string soundOf(const AVIAudioFormat& format, std::size_t bytes, std::uint32_t seed) {
  std::minstd_rand random(seed);
  std::string sound;
  for (std::size_t index = 0; index < bytes; ++index) {
    const bool isHead =
        format.samplesPerBlock > 1 && index % format.blockAlign < std::size_t{4} * format.channels;
    sound += isHead ? '\0' : static_cast<char>(random() & 0xFFU);
  }
  return sound;
}

}  // namespace

TestClipContent writeClip(const FileURL& url, const TestClip& clip) {
  const AVIHeader& header = clip.header;
  TestClipContent content;
  content.video.resize(header.videoStreams);
  content.audio.resize(header.audio.size());
  AVIWriter writer(url, header);
  for (unsigned frame = 0; frame < clip.frames; ++frame) {
    const bool isRepeated = clip.repeatedFrames.contains(frame);
    content.videoFrames += isRepeated ? 0 : 1;
    for (unsigned stream = 0; stream < header.videoStreams; ++stream) {
      const std::uint32_t seed = clip.seed * 100'003 + frame * 16 + stream;
      std::string bytes;
      if (!isRepeated) {
        bytes = clip.frameWidth == 0 ? jpegFrame(header.width, header.height, seed)
                                     : jpegFrameClaiming(clip.frameWidth, clip.frameHeight, seed);
      }
      writer.video(bytes, stream);
      content.video[stream] += bytes;
    }
    for (unsigned stream = 0; stream < header.audio.size(); ++stream) {
      const std::string sound =
          soundOf(header.audio[stream], clip.audioChunkBytes, clip.seed * 7919 + frame * 16 + stream);
      writer.audio(sound, stream);
      content.audio[stream] += sound;
    }
    if (header.textStream) {
      writer.text("caption");
    }
  }
  writer.finish();
  return content;
}

void truncateFile(const FileURL& url, std::uint64_t removedBytes) {
  std::filesystem::resize_file(url.path(), std::filesystem::file_size(url.path()) - removedBytes);
}

}  // namespace tolvander::tests
