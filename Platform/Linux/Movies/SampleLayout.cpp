#include "Platform/Linux/Movies/SampleLayout.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

namespace tolvander::platform::linux_ {

namespace {

// A block begins with a header for every channel that contains the first samples completely; 4 bits per
// channel follow for each further sample (Microsoft, Multimedia Standards Update 3.0).
struct BlockHead {
  std::int64_t bytes = 0;
  std::int64_t samples = 0;
};

std::optional<BlockHead> blockHead(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_ADPCM_IMA_WAV:
      return BlockHead{.bytes = 4, .samples = 1};
    case AV_CODEC_ID_ADPCM_MS:
      return BlockHead{.bytes = 7, .samples = 2};
    default:
      return std::nullopt;
  }
}

int bitsPerSample(AVCodecID codec) { return blockHead(codec) ? 0 : av_get_exact_bits_per_sample(codec); }

}  // namespace

bool hasSampleLayout(AVCodecID codec) {
  return blockHead(codec) || (bitsPerSample(codec) > 0 && bitsPerSample(codec) % 8 == 0);
}

std::optional<SampleLayout> sampleLayout(const AVCodecParameters& parameters) {
  const std::int64_t channels = parameters.ch_layout.nb_channels;
  if (channels < 1 || !hasSampleLayout(parameters.codec_id)) {
    return std::nullopt;
  }
  if (const auto head = blockHead(parameters.codec_id)) {
    const std::int64_t body = parameters.block_align - head->bytes * channels;
    if (body < 0) {
      return std::nullopt;
    }
    return SampleLayout{.unitBytes = static_cast<std::size_t>(parameters.block_align),
                        .samplesPerUnit = body * 2 / channels + head->samples};
  }
  const std::int64_t bytes = bitsPerSample(parameters.codec_id) / 8 * channels;
  return SampleLayout{.unitBytes = static_cast<std::size_t>(bytes), .samplesPerUnit = 1};
}

std::uint32_t mediaSubtype(const AVCodecParameters& parameters) {
  const auto tagIn = [&](const AVCodecTag* table) {
    const std::array<const AVCodecTag*, 2> tables = {table, nullptr};
    return av_codec_get_tag(tables.data(), parameters.codec_id);
  };
  if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
    const std::uint32_t tag = tagIn(avformat_get_mov_video_tags());
    return av_bswap32(tag != 0 ? tag : parameters.codec_tag);
  }
  if (const std::uint32_t tag = tagIn(avformat_get_mov_audio_tags()); tag != 0) {
    return av_bswap32(tag);
  }
  // QuickTime codes for codecs of WAVE files are "ms" and the format tag.
  const std::uint32_t waveTag = tagIn(avformat_get_riff_audio_tags());
  return waveTag != 0 ? MKBETAG('m', 's', 0, 0) | waveTag : av_bswap32(parameters.codec_tag);
}

void SampleUnits::add(std::span<const std::byte> bytes,
                      const std::function<void(std::span<const std::byte>)>& receive) {
  if (!carry_.empty()) {
    const std::span<const std::byte> head = bytes.first(std::min(bytes.size(), unitBytes_ - carry_.size()));
    carry_.resize(carry_.size() + head.size());
    std::ranges::copy(head, carry_.end() - std::ssize(head));
    bytes = bytes.subspan(head.size());
    if (carry_.size() < unitBytes_) {
      return;
    }
    receive(carry_);
    carry_.clear();
  }
  const std::span<const std::byte> whole = bytes.first(bytes.size() - bytes.size() % unitBytes_);
  if (!whole.empty()) {
    receive(whole);
  }
  const std::span<const std::byte> rest = bytes.subspan(whole.size());
  carry_.assign(rest.begin(), rest.end());
}

}  // namespace tolvander::platform::linux_
