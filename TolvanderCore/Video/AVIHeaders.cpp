#include "TolvanderCore/Video/AVIHeaders.h"

#include <algorithm>
#include <array>

#include "TolvanderCore/Foundation/ASCII.h"
#include "TolvanderCore/Foundation/Endian.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {

namespace {

constexpr std::uint64_t listHeadSize = 12;  // name, size, the list's type

// The sizes of the parts of the chunks that are read; writers may append more. The structures are those of
// the Microsoft AVI RIFF File Reference and of the OpenDML AVI File Format Extensions 1.02 (dmlh).
constexpr std::size_t mainHeaderSize = 20;        // of MainAVIHeader, to dwTotalFrames
constexpr std::size_t streamHeaderSize = 36;      // of AVIStreamHeader, to dwLength
constexpr std::size_t pictureFormatSize = 20;     // of BITMAPINFOHEADER, to biCompression
constexpr std::size_t soundFormatSize = 16;       // of WAVEFORMAT with wBitsPerSample
constexpr std::size_t extensibleFormatSize = 40;  // of WAVEFORMATEXTENSIBLE
constexpr std::size_t extendedHeaderSize = 4;     // of dmlh

bool isMotionJPEG(std::string_view encoding) {
  constexpr std::array<std::string_view, 3> names = {"mjpg", "jpeg", "dmb1"};
  return std::ranges::find(names, lowercasedASCII(encoding)) != names.end();
}

// The bytes and samples in the head of an ADPCM block, for each channel. Each further sample has 4 bits
// (Microsoft, Multimedia Standards Update 3.0).
struct BlockHead {
  std::uint32_t bytes = 0;
  std::uint32_t samples = 0;
};

class HeaderReader {
 public:
  HeaderReader(AVIBytes& bytes, const FileURL& url) : bytes_(bytes), url_(url) {}

  AVIHeaders read() {
    std::size_t chunks = 0;
    std::uint64_t offset = listHeadSize;
    while (true) {
      offset = bytes_.skipZeros(offset);
      const auto head = bytes_.chunkHead(offset);
      require(head.has_value(), "the headers are damaged");
      require(++chunks <= AVIReading::maximumChunks, "it has too many chunks");
      const std::string type(bytes_.at(offset + AVIChunkHead::size, 4));
      if (head->name() == "LIST" && type == "movi") {
        break;
      }
      if (head->name() == "LIST" && (type == "hdrl" || type == "strl" || type == "odml")) {
        beginList(type);
        offset += listHeadSize;
        continue;
      }
      require(bytes_.holds(offset, head->dataSize), "the headers are damaged");
      take(*head, offset);
      offset = bytes_.behind(offset + AVIChunkHead::size, head->dataSize);
    }
    endStream();
    headers_.movie = offset;
    headers_.totalFrames = extendedFrames_ ? extendedFrames_ : mainFrames_;
    return std::move(headers_);
  }

 private:
  void require(bool holds, std::string_view otherwise) const {
    if (!holds) {
      refuseAVI(url_, otherwise);
    }
  }

  void beginList(std::string_view type) {
    if (type == "strl") {
      endStream();
      isInStream_ = true;
    }
  }

  void take(const AVIChunkHead& head, std::uint64_t offset) {
    if (head.name() == "avih") {  // MainAVIHeader
      const std::string data = dataOf(head, offset, mainHeaderSize);
      microsecondsPerFrame_ = littleEndian32(data, 0);
      mainFrames_ = littleEndian32(data, 16);
    } else if (head.name() == "dmlh") {  // OpenDML 1.02: the frames of all RIFF lists
      extendedFrames_ = littleEndian32(dataOf(head, offset, extendedHeaderSize), 0);
    } else if (head.name() == "strh") {  // AVIStreamHeader
      require(isInStream_ && streamHeader_.empty(), "a stream has two headers");
      streamHeader_ = dataOf(head, offset, streamHeaderSize);
    } else if (head.name() == "strf") {  // BITMAPINFOHEADER or WAVEFORMATEX
      require(isInStream_ && !hasFormat_, "a stream has two formats");
      hasFormat_ = true;
      format_ =
          bytes_.at(offset + AVIChunkHead::size, std::min<std::size_t>(head.dataSize, extensibleFormatSize));
    } else if (head.name() == "indx" && isInStream_) {  // OpenDML 1.02
      index_ = offset;
    }
  }

  std::string dataOf(const AVIChunkHead& head, std::uint64_t offset, std::size_t count) {
    const std::string data(bytes_.at(offset + AVIChunkHead::size, count));
    require(head.dataSize >= count && data.size() == count, "the headers are damaged");
    return data;
  }

  void endStream() {
    if (!isInStream_) {
      return;
    }
    constexpr std::size_t mostStreams = 100;  // the numbers of two digits
    require(headers_.streams.size() < mostStreams, "it has too many streams");
    require(!streamHeader_.empty(), "a stream has no header");
    const std::string_view type = std::string_view(streamHeader_).substr(0, 4);
    AVIStream stream{.length = littleEndian32(streamHeader_, 32), .index = index_};
    if (type == "vids") {
      stream.kind = AVIStream::Kind::video;
      stream.video = video();
    } else if (type == "auds") {
      stream.kind = AVIStream::Kind::sound;
      stream.sound = sound();
      stream.soundSeconds = claimedSeconds();
    } else {
      require(type == "txts" || type == "mids" || type == "dats", "a stream is of an unknown type");
    }
    headers_.streams.push_back(std::move(stream));
    isInStream_ = false;
    hasFormat_ = false;
    streamHeader_.clear();
    format_.clear();
    index_.reset();
  }

  AVIVideoTrack video() const {
    require(format_.size() >= pictureFormatSize, "a video stream has no format");
    const std::string_view handler = std::string_view(streamHeader_).substr(4, 4);
    const std::string_view compression = std::string_view(format_).substr(16, 4);
    AVIVideoTrack video{.rate = littleEndian32(streamHeader_, 24),
                        .scale = littleEndian32(streamHeader_, 20)};
    video.isMotionJPEG = isMotionJPEG(littleEndian32(compression, 0) == 0 ? handler : compression);
    if (video.rate == 0 || video.scale == 0) {
      constexpr std::uint32_t microseconds = 1'000'000;
      require(microsecondsPerFrame_ != 0, "a video stream has no rate");
      video.rate = microseconds;
      video.scale = microsecondsPerFrame_;
    }
    return video;
  }

  // The duration of the stream by its header, in seconds.
  double claimedSeconds() const {
    const std::uint32_t rate = littleEndian32(streamHeader_, 24);
    return rate == 0 ? 0
                     : static_cast<double>(littleEndian32(streamHeader_, 32)) *
                           littleEndian32(streamHeader_, 20) / rate;
  }

  AVISoundFormat sound() const {
    constexpr std::uint32_t extensible = 0xFFFE;
    require(format_.size() >= soundFormatSize, "a sound stream has no format");
    std::uint32_t tag = littleEndian16(format_, 0);
    if (tag == extensible && format_.size() == extensibleFormatSize) {
      tag = littleEndian16(format_, 24);  // the first bytes of SubFormat in WAVEFORMATEXTENSIBLE
    }
    AVISoundFormat sound;
    sound.sampleRate = littleEndian32(format_, 4);
    sound.bitsPerSample = littleEndian16(format_, 14);
    require(littleEndian16(format_, 2) != 0 && sound.sampleRate != 0,
            "the format of a sound stream is damaged");
    switch (tag) {  // the numbers of RFC 2361
      case 1:
        return pcm(sound, AVISoundEncoding::pcm);
      case 6:
        return pcm(sound, AVISoundEncoding::aLaw);
      case 7:
        return pcm(sound, AVISoundEncoding::muLaw);
      case 2:
        return adpcm(sound, AVISoundEncoding::microsoftADPCM, {.bytes = 7, .samples = 2});
      case 0x11:
        return adpcm(sound, AVISoundEncoding::imaADPCM, {.bytes = 4, .samples = 1});
      default:
        refuseAVI(url_, "the format of a sound stream is unknown");
    }
  }

  AVISoundFormat pcm(AVISoundFormat sound, AVISoundEncoding encoding) const {
    sound.encoding = encoding;
    sound.unitBytes = littleEndian16(format_, 2) * sound.bitsPerSample / 8;
    sound.samplesPerUnit = 1;
    const bool isLinear = encoding == AVISoundEncoding::pcm;
    require(sound.bitsPerSample == 8 || (isLinear && sound.bitsPerSample == 16),
            "the format of a sound stream is unknown");
    require(!isLinear || rateIsConfirmed(sound), "the sample rate of a sound stream is damaged");
    return sound;
  }

  // A damaged rate would make the sound too fast or too slow, and no other part of the file would reveal it.
  bool rateIsConfirmed(const AVISoundFormat& sound) const {
    const std::uint64_t scale = littleEndian32(streamHeader_, 20);
    const std::uint64_t rate = littleEndian32(streamHeader_, 24);
    const std::uint64_t bytesPerSecond = littleEndian32(format_, 8);
    return (scale != 0 && rate == sound.sampleRate * scale) ||
           bytesPerSecond == std::uint64_t{sound.sampleRate} * sound.unitBytes;
  }

  AVISoundFormat adpcm(AVISoundFormat sound, AVISoundEncoding encoding, BlockHead head) const {
    const std::uint32_t channels = littleEndian16(format_, 2);
    sound.encoding = encoding;
    sound.unitBytes = littleEndian16(format_, 12);
    require(sound.unitBytes >= head.bytes * channels && sound.unitBytes > 0,
            "the block size of a sound stream is damaged");
    sound.samplesPerUnit = (sound.unitBytes - head.bytes * channels) * 2 / channels + head.samples;
    return sound;
  }

  AVIBytes& bytes_;
  const FileURL& url_;
  AVIHeaders headers_;
  std::uint32_t microsecondsPerFrame_ = 0;
  std::optional<std::uint32_t> mainFrames_;
  std::optional<std::uint32_t> extendedFrames_;
  bool isInStream_ = false;  // the members from here on belong to the open stream list
  bool hasFormat_ = false;
  std::string streamHeader_;
  std::string format_;
  std::optional<std::uint64_t> index_;
};

}  // namespace

void refuseAVI(const FileURL& url, std::string_view reason) {
  throw MovieError(MovieError::Case::unreadable, url, reason);
}

AVIChunkRole AVIHeaders::roleOf(std::string_view chunkName) const {
  using Kind = AVIChunkRole::Kind;
  const auto number = streamNumber(chunkName);
  if (!number) {
    return {};
  }
  const std::string_view data = chunkName.substr(2);
  const bool isPicture = data == "dc" || data == "db";
  const bool isSound = data == "wb";
  if (*number < streams.size() && streams[*number].kind == AVIStream::Kind::ignored) {
    return {.kind = data == "ix" ? Kind::noData : Kind::ignored};
  }
  if (!isPicture && !isSound && data != "pc") {
    return {};
  }
  if (*number >= streams.size()) {
    return {.kind = Kind::contradiction};
  }
  const bool fits = streams[*number].kind == AVIStream::Kind::video ? isPicture : isSound;
  return {.kind = fits ? Kind::sample : Kind::contradiction, .stream = *number};
}

AVIHeaders readAVIHeaders(AVIBytes& bytes, const FileURL& url) { return HeaderReader(bytes, url).read(); }

}  // namespace tolvander
