#include "Platform/Linux/Movies/AVIHeaders.h"

#include <algorithm>

namespace tolvander::platform::linux_ {

namespace {

constexpr std::size_t mostStreams = 100;  // chunk names have two digits for the stream
constexpr std::size_t streamHeaderBytes = 36;
constexpr std::size_t videoFormatBytes = 40;
constexpr std::size_t audioFormatBytes = 14;

std::optional<AVIStreamType> streamType(std::string_view name) {
  if (name == "vids") {
    return AVIStreamType::video;
  }
  if (name == "auds") {
    return AVIStreamType::audio;
  }
  if (name == "txts" || name == "mids" || name == "dats") {
    return AVIStreamType::ignored;
  }
  return std::nullopt;
}

class HeaderReader {
 public:
  explicit HeaderReader(AVIBytes& bytes) : bytes_(bytes) {}

  AVIHeaders read() {
    std::int64_t offset = AVIChunkHeader::listBytes;  // after RIFF and its type
    for (std::int64_t chunks = 0; chunks < mostAVIChunks; ++chunks) {
      const AVIChunkHeader chunk = chunkHeaderAt(bytes_, offset);
      if (chunk.name == "LIST" && chunk.type == "movi") {
        headers_.movie = chunk;
        finish();
        return headers_;
      }
      if (isEntered(chunk)) {
        offset += AVIChunkHeader::listBytes;
        continue;
      }
      if (chunk.name.empty() || chunk.name == "RIFF" || chunk.end() > bytes_.fileSize()) {
        break;
      }
      add(chunk);
      offset = chunk.paddedEnd();
    }
    bytes_.fail("it has no list of samples");
  }

 private:
  static bool isEntered(const AVIChunkHeader& chunk) {
    return chunk.type == "hdrl" || chunk.type == "strl" || chunk.type == "odml";
  }

  void add(const AVIChunkHeader& chunk) {
    if (chunk.name == "avih") {  // MainAVIHeader
      const std::string content = contentOf(chunk);
      microsecondsPerFrame_ = littleEndian32(content, 0);
      mainFrames_ = littleEndian32(content, 16);
    } else if (chunk.name == "dmlh") {  // OpenDML 1.02: the frames of all RIFF lists
      extendedFrames_ = littleEndian32(contentOf(chunk), 0);
    } else if (chunk.name == "strh") {  // AVIStreamHeader
      addStream(chunk);
    } else if (!headers_.streams.empty()) {
      addToStream(chunk, headers_.streams.back());
    }
  }

  void addStream(const AVIChunkHeader& chunk) {
    if (headers_.streams.size() == mostStreams) {
      bytes_.fail("it has more than 100 streams");
    }
    const std::string content = contentOf(chunk);
    const auto type = streamType(std::string_view(content).substr(0, 4));
    if (!type || content.size() < streamHeaderBytes) {
      bytes_.fail("the header of a stream is damaged or of an unknown type");
    }
    headers_.streams.push_back({.type = *type,
                                .handler = littleEndian32(content, 4),
                                .scale = littleEndian32(content, 20),
                                .rate = littleEndian32(content, 24),
                                .length = littleEndian32(content, 32),
                                .format = {},
                                .properties = {},
                                .index = {}});
  }

  void addToStream(const AVIChunkHeader& chunk, AVIStreamHeader& stream) {
    if (chunk.name == "strf") {  // BITMAPINFOHEADER or WAVEFORMATEX
      stream.format = contentOf(chunk);
    } else if (chunk.name == "vprp") {  // OpenDML 1.02
      stream.properties = contentOf(chunk);
    } else if (chunk.name == "indx") {  // OpenDML 1.02
      stream.index = chunk;
    }
  }

  std::string contentOf(const AVIChunkHeader& chunk) {
    const auto size = std::min<std::int64_t>(chunk.size, AVIBytes::smallBuffer);
    return std::string(bytes_.at(chunk.content(), static_cast<std::size_t>(size)));
  }

  void finish() {
    headers_.frames = extendedFrames_ ? extendedFrames_ : mainFrames_;
    for (AVIStreamHeader& stream : headers_.streams) {
      const std::size_t fixed = stream.type == AVIStreamType::video   ? videoFormatBytes
                                : stream.type == AVIStreamType::audio ? audioFormatBytes
                                                                      : 0;
      if (stream.format.size() < fixed) {
        bytes_.fail("a stream has no format");
      }
      if (stream.type == AVIStreamType::video) {
        requireRate(stream);
      }
    }
  }

  void requireRate(AVIStreamHeader& stream) const {
    if (stream.rate == 0 || stream.scale == 0) {
      stream.rate = 1'000'000;
      stream.scale = microsecondsPerFrame_;
    }
    if (stream.scale == 0) {
      bytes_.fail("it has no frame rate");
    }
  }

  AVIBytes& bytes_;
  AVIHeaders headers_;
  std::uint32_t microsecondsPerFrame_ = 0;
  std::optional<std::uint32_t> mainFrames_;
  std::optional<std::uint32_t> extendedFrames_;
};

}  // namespace

AVIHeaders readAVIHeaders(AVIBytes& bytes) { return HeaderReader(bytes).read(); }

}  // namespace tolvander::platform::linux_
