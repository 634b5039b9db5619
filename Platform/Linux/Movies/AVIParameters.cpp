#include "Platform/Linux/Movies/AVIParameters.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "Platform/Linux/Movies/SampleLayout.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr unsigned tagPCM = 1;
constexpr unsigned tagFloat = 3;
constexpr unsigned tagExtensible = 0xFFFE;

AVCodecID codecOf(std::uint32_t tag, const AVCodecTag* table) {
  const std::array<const AVCodecTag*, 2> tables = {table, nullptr};
  return av_codec_get_id(tables.data(), tag);
}

void setExtradata(AVCodecParameters& parameters, std::string_view bytes) {
  if (bytes.empty()) {
    return;
  }
  parameters.extradata = static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (parameters.extradata == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(parameters.extradata, bytes.data(), bytes.size());
  parameters.extradata_size = static_cast<int>(bytes.size());
}

void setVideo(AVCodecParameters& parameters, const AVIStreamHeader& stream) {
  constexpr std::size_t headerBytes = 40;
  constexpr std::size_t compression = 16;
  const std::string_view format = stream.format;
  const auto height = std::int64_t{static_cast<std::int32_t>(littleEndian32(format, 8))};
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_tag = littleEndian32(format, compression);
  if (parameters.codec_tag == 0) {
    parameters.codec_tag = stream.handler;
  }
  parameters.codec_id = codecOf(parameters.codec_tag, avformat_get_riff_video_tags());
  parameters.width = static_cast<std::int32_t>(littleEndian32(format, 4));
  // A negative height means that the rows are stored from top to bottom (BITMAPINFOHEADER).
  parameters.height =
      static_cast<int>(std::min<std::int64_t>(std::abs(height), std::numeric_limits<std::int32_t>::max()));
  parameters.bits_per_coded_sample = littleEndian16(format, 14);
  setExtradata(parameters, format.substr(std::min(headerBytes, format.size())));
}

AVCodecID pcmCodec(unsigned tag, unsigned bits) {
  switch (bits) {
    case 8:
      return tag == tagPCM ? AV_CODEC_ID_PCM_U8 : AV_CODEC_ID_NONE;
    case 16:
      return tag == tagPCM ? AV_CODEC_ID_PCM_S16LE : AV_CODEC_ID_NONE;
    case 24:
      return tag == tagPCM ? AV_CODEC_ID_PCM_S24LE : AV_CODEC_ID_NONE;
    case 32:
      return tag == tagPCM ? AV_CODEC_ID_PCM_S32LE : AV_CODEC_ID_PCM_F32LE;
    case 64:
      return tag == tagPCM ? AV_CODEC_ID_NONE : AV_CODEC_ID_PCM_F64LE;
    default:
      return AV_CODEC_ID_NONE;
  }
}

// The format tag; WAVE_FORMAT_EXTENSIBLE has it at the start of a GUID.
unsigned waveTag(std::string_view format) {
  constexpr std::string_view guidEnd("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);
  const unsigned tag = littleEndian16(format, 0);
  if (tag == tagExtensible && format.size() >= 40 && format.substr(26, guidEnd.size()) == guidEnd) {
    return littleEndian16(format, 24);
  }
  return tag;
}

void setSound(AVCodecParameters& parameters, const AVIStreamHeader& stream) {
  constexpr std::size_t headerBytes = 18;
  const std::string_view format = stream.format;
  const unsigned bits = littleEndian16(format, 14);
  parameters.codec_type = AVMEDIA_TYPE_AUDIO;
  parameters.codec_tag = waveTag(format);
  parameters.codec_id = parameters.codec_tag == tagPCM || parameters.codec_tag == tagFloat
                            ? pcmCodec(parameters.codec_tag, bits)
                            : codecOf(parameters.codec_tag, avformat_get_riff_audio_tags());
  parameters.ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
  parameters.ch_layout.nb_channels = littleEndian16(format, 2);
  const std::uint32_t rate = littleEndian32(format, 4);
  parameters.sample_rate = rate <= std::numeric_limits<std::int32_t>::max() ? static_cast<int>(rate) : 0;
  parameters.bit_rate = std::int64_t{8} * littleEndian32(format, 8);
  parameters.block_align = littleEndian16(format, 12);
  parameters.bits_per_coded_sample = static_cast<int>(bits);
  if (format.size() > headerBytes) {
    setExtradata(parameters, format.substr(headerBytes, littleEndian16(format, 16)));
  }
}

bool isReadableSound(const AVCodecParameters& parameters, const AVIStreamHeader& stream) {
  const auto layout = sampleLayout(parameters);
  if (parameters.codec_id == AV_CODEC_ID_NONE || parameters.ch_layout.nb_channels < 1 ||
      parameters.sample_rate < 1 || (hasSampleLayout(parameters.codec_id) && !layout)) {
    return false;
  }
  if (parameters.codec_tag != tagPCM) {
    return true;
  }
  const auto rate = std::uint64_t{static_cast<std::uint32_t>(parameters.sample_rate)};
  const std::uint64_t bytesPerSecond = littleEndian32(stream.format, 8);
  return (stream.scale != 0 && rate * stream.scale == stream.rate) ||
         rate * layout->unitBytes == bytesPerSecond;
}

}  // namespace

CodecParametersPointer aviParameters(const AVIStreamHeader& stream) {
  CodecParametersPointer parameters(avcodec_parameters_alloc());
  if (!parameters) {
    throw std::bad_alloc();
  }
  if (stream.type == AVIStreamType::video) {
    setVideo(*parameters, stream);
    return parameters;
  }
  setSound(*parameters, stream);
  return isReadableSound(*parameters, stream) ? std::move(parameters) : nullptr;
}

AVRational aviPixelShape(const AVIStreamHeader& stream) {
  const std::string_view properties = stream.properties;
  const AVRational screen = {littleEndian16(properties, 22), littleEndian16(properties, 20)};
  const AVRational pixels = {static_cast<int>(littleEndian32(properties, 24) & 0xFFFFU),
                             static_cast<int>(littleEndian32(properties, 28) & 0xFFFFU)};
  if (screen.num == 0 || screen.den == 0 || pixels.num == 0 || pixels.den == 0) {
    return {0, 1};
  }
  return av_div_q(screen, pixels);
}

}  // namespace tolvander::platform::linux_
