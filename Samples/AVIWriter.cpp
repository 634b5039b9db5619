#include "Samples/AVIWriter.h"

#include <algorithm>
#include <concepts>
#include <stdexcept>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::tests {

namespace {

constexpr std::uint32_t superIndexEntries = 64;
constexpr std::size_t superIndexSize = 24 + 16 * superIndexEntries;

template <std::unsigned_integral Number>
std::string little(Number value) {
  std::string bytes;
  appendLittleEndian(bytes, value);
  return bytes;
}

std::string little16(unsigned value) { return little(static_cast<std::uint16_t>(value)); }
std::string little32(std::uint64_t value) { return little(static_cast<std::uint32_t>(value)); }

std::string chunk(std::string_view name, std::string_view content) {
  std::string bytes(name);
  bytes += little32(content.size());
  bytes += content;
  bytes.append(content.size() % 2, '\0');
  return bytes;
}

std::string list(std::string_view name, std::string_view content) {
  return chunk("LIST", std::string(name).append(content));
}

// AVISTREAMHEADER. The length is filled in at the end.
std::string streamHeader(std::string_view type, std::string_view handler, std::uint32_t scale,
                         std::uint32_t rate, std::uint32_t sampleSize) {
  std::string bytes(type);
  bytes += handler;
  bytes += little32(0) + little32(0) + little32(0);  // flags, priority and language, initial frames
  bytes += little32(scale) + little32(rate) + little32(0) + little32(0);  // start, length
  bytes += little32(0) + little32(0xFFFFFFFF) + little32(sampleSize);     // buffer size, quality
  bytes += std::string(8, '\0');                                          // frame
  return bytes;
}

constexpr std::uint64_t lengthInStreamHeader = 32;

// BITMAPINFOHEADER
std::string videoFormat(const AVIHeader& header) {
  return little32(40) + little32(header.width) + little32(header.height) + little16(1) + little16(24) +
         header.claimedCompression.value_or(header.videoCodec) + little32(0) + std::string(16, '\0');
}

// Coefficients that every MS ADPCM header repeats (Microsoft, Multimedia Standards Update 3.0).
std::string microsoftCoefficients() {
  std::string bytes = little16(7);
  for (const auto& [first, second] :
       {std::pair(256, 0), std::pair(512, -256), std::pair(0, 0), std::pair(192, 64), std::pair(240, 0),
        std::pair(460, -208), std::pair(392, -232)}) {
    bytes += little16(static_cast<unsigned>(first)) + little16(static_cast<unsigned>(second) & 0xFFFFU);
  }
  return bytes;
}

constexpr unsigned tagPCM = 1;
constexpr unsigned tagMicrosoftADPCM = 2;
constexpr unsigned tagMuLaw = 7;
constexpr unsigned tagIMAADPCM = 0x11;

// WAVEFORMATEX
std::string audioFormat(const AVIAudioFormat& format) {
  std::string extra;
  if (format.formatTag == tagMicrosoftADPCM) {
    extra = little16(format.samplesPerBlock) + microsoftCoefficients();
  } else if (format.formatTag == tagIMAADPCM) {
    extra = little16(format.samplesPerBlock);
  }
  const std::uint32_t bytesPerSecond = format.sampleRate * format.blockAlign / format.samplesPerBlock;
  return little16(format.formatTag) + little16(format.channels) + little32(format.sampleRate) +
         little32(bytesPerSecond) + little16(format.blockAlign) + little16(format.bitsPerSample) +
         little16(static_cast<unsigned>(extra.size())) + extra;
}

std::string chunkName(unsigned stream, std::string_view kind) {
  return {static_cast<char>('0' + stream / 10), static_cast<char>('0' + stream % 10), kind[0], kind[1]};
}

AVIAudioFormat uncompressed(unsigned tag, unsigned bits, std::uint16_t channels, std::uint32_t sampleRate) {
  AVIAudioFormat format;
  format.formatTag = static_cast<std::uint16_t>(tag);
  format.channels = channels;
  format.sampleRate = sampleRate;
  format.bitsPerSample = static_cast<std::uint16_t>(bits);
  format.blockAlign = static_cast<std::uint16_t>(bits / 8 * channels);
  return format;
}

// A block holds a head for each channel, whose first samples count, and then 4 bits a sample.
AVIAudioFormat adpcm(unsigned tag, unsigned headBytes, unsigned headSamples, std::uint16_t channels,
                     std::uint32_t sampleRate) {
  AVIAudioFormat format = uncompressed(tag, 4, channels, sampleRate);
  format.blockAlign = static_cast<std::uint16_t>(256 * channels);
  format.samplesPerBlock =
      static_cast<std::uint16_t>((format.blockAlign - headBytes * channels) * 2 / channels + headSamples);
  return format;
}

}  // namespace

AVIAudioFormat AVIAudioFormat::pcm8(std::uint16_t channels, std::uint32_t sampleRate) {
  return uncompressed(tagPCM, 8, channels, sampleRate);
}

AVIAudioFormat AVIAudioFormat::pcm16(std::uint16_t channels, std::uint32_t sampleRate) {
  return uncompressed(tagPCM, 16, channels, sampleRate);
}

AVIAudioFormat AVIAudioFormat::muLaw(std::uint16_t channels, std::uint32_t sampleRate) {
  return uncompressed(tagMuLaw, 8, channels, sampleRate);
}

AVIAudioFormat AVIAudioFormat::imaADPCM(std::uint16_t channels, std::uint32_t sampleRate) {
  return adpcm(tagIMAADPCM, 4, 1, channels, sampleRate);
}

AVIAudioFormat AVIAudioFormat::microsoftADPCM(std::uint16_t channels, std::uint32_t sampleRate) {
  return adpcm(tagMicrosoftADPCM, 7, 2, channels, sampleRate);
}

AVIWriter::AVIWriter(const FileURL& url, AVIHeader header)
    : file_(url.path(), std::ios::binary), header_(std::move(header)) {
  beginRIFF("AVI ");
  putHeader();
  beginMovie();
}

void AVIWriter::video(std::string_view bytes, unsigned stream) { putChunk(stream, "dc", bytes); }

void AVIWriter::audio(std::string_view bytes, unsigned stream) {
  putChunk(header_.videoStreams + stream, "wb", bytes);
}

void AVIWriter::text(std::string_view bytes) {
  putChunk(static_cast<unsigned>(streams_.size() - header_.dataStreams.size()) - 1, "tx", bytes);
}

void AVIWriter::data(std::string_view kind, std::string_view bytes, unsigned stream) {
  putChunk(static_cast<unsigned>(streams_.size() - header_.dataStreams.size()) + stream, kind, bytes);
}

void AVIWriter::videoClaiming(std::uint32_t claimedSize, std::string_view bytes, unsigned stream) {
  putChunk(stream, "dc", bytes, claimedSize);
}

void AVIWriter::repeatByIndex(unsigned stream) {
  const auto last = std::ranges::find_if(entries_.rbegin(), entries_.rend(), [stream](const Entry& entry) {
    return entry.stream == stream && entry.chunk.size > 0;
  });
  if (last == entries_.rend()) {
    throw std::runtime_error("there is no frame to repeat");
  }
  addEntry(stream, AVIIndexEntry(last->chunk));
}

void AVIWriter::dropByIndex(unsigned stream) { addEntry(stream, {chunkName(stream, "dc"), position_, 0}); }

void AVIWriter::raw(std::string_view bytes) { put(bytes); }

void AVIWriter::finish() {
  endRIFF();
  std::uint64_t frames = 0;
  for (const Stream& stream : streams_) {
    std::uint64_t length = stream.isVideo ? stream.chunks : stream.bytes / stream.unit;
    if (stream.isVideo) {
      length = header_.claimedFrames.value_or(static_cast<std::uint32_t>(length));
      frames = std::max(frames, length);
    } else {
      length = header_.claimedAudioLength.value_or(static_cast<std::uint32_t>(length));
    }
    patch(stream.lengthOffset, little32(length));
  }
  patch(framesOffset_, little32(header_.claimedTotalFrames.value_or(static_cast<std::uint32_t>(frames))));
  if (!file_.flush()) {
    throw std::runtime_error("the AVI can't be written");
  }
}

void AVIWriter::put(std::string_view bytes) {
  file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  position_ += bytes.size();
}

void AVIWriter::patch(std::uint64_t offset, std::string_view bytes) {
  file_.seekp(static_cast<std::streamoff>(offset));
  file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file_.seekp(static_cast<std::streamoff>(position_));
}

void AVIWriter::patchSize(std::uint64_t sizeOffset) {
  patch(sizeOffset, little32(position_ - sizeOffset - 4));
}

void AVIWriter::beginRIFF(std::string_view form) {
  put("RIFF");
  riffSize_ = position_;
  put(little32(0));
  put(form);
  ++riffs_;
}

void AVIWriter::putHeader() {
  put("LIST");
  const std::uint64_t sizeOffset = position_;
  put(little32(0));
  put("hdrl");

  constexpr std::uint32_t hasIndexAndIsInterleaved = 0x110;
  const std::uint64_t microseconds =
      header_.rate == 0 ? 0 : std::uint64_t{1'000'000} * header_.scale / header_.rate;
  const std::size_t streams =
      header_.videoStreams + header_.audio.size() + (header_.textStream ? 1 : 0) + header_.dataStreams.size();
  framesOffset_ = position_ + 8 + 16;
  put(chunk("avih", little32(microseconds) + little32(0) + little32(0) + little32(hasIndexAndIsInterleaved) +
                        little32(0) + little32(0) + little32(streams) + little32(0) +
                        little32(header_.width) + little32(header_.height) + std::string(16, '\0')));

  for (unsigned stream = 0; stream < header_.videoStreams; ++stream) {
    putStream({.isVideo = true}, streamHeader("vids", header_.videoCodec, header_.scale, header_.rate, 0),
              videoFormat(header_));
  }
  for (const AVIAudioFormat& format : header_.audio) {
    const std::uint32_t scale = header_.claimedAudioScale.value_or(format.samplesPerBlock);
    std::string formatBytes = audioFormat(format);
    if (header_.changeAudioFormat) {
      header_.changeAudioFormat(formatBytes);
    }
    putStream({.unit = format.blockAlign},
              streamHeader("auds", std::string(4, '\0'), scale, format.sampleRate, format.blockAlign),
              formatBytes);
  }
  if (header_.textStream) {
    putStream({}, streamHeader("txts", std::string(4, '\0'), 1, 1, 0), "");
  }
  for (const std::string& type : header_.dataStreams) {
    putStream({}, streamHeader(type, std::string(4, '\0'), 1, 1, 0), "");
  }
  if (header_.extendedFrames) {
    put(list("odml", chunk("dmlh", little32(*header_.extendedFrames) + std::string(244, '\0'))));
  }
  patchSize(sizeOffset);
  if (!header_.packer.empty()) {
    put(list("INFO", chunk("ISFT", header_.packer)) + chunk("JUNK", header_.packer + std::string(64, '\0')));
  }
}

void AVIWriter::putStream(Stream stream, const std::string& header, const std::string& format) {
  put("LIST");
  const std::uint64_t sizeOffset = position_;
  put(little32(0));
  put("strl");
  stream.lengthOffset = position_ + 8 + lengthInStreamHeader;
  put(chunk("strh", header));
  put(chunk("strf", format));
  if (stream.isVideo && !header_.packer.empty()) {
    put(chunk("strd", header_.packer));
  }
  if (header_.chunksPerRIFF != 0) {
    stream.superIndex = position_ + 8;
    put(chunk("indx", std::string(superIndexSize, '\0')));
  }
  patchSize(sizeOffset);
  streams_.push_back(stream);
}

void AVIWriter::beginMovie() {
  put("LIST");
  movieSize_ = position_;
  put(little32(0));
  put("movi");
}

void AVIWriter::putChunk(unsigned stream, std::string_view kind, std::string_view bytes,
                         std::optional<std::uint32_t> claimedSize) {
  if (header_.chunksPerRIFF != 0 && entries_.size() >= header_.chunksPerRIFF) {
    endRIFF();
    beginRIFF("AVIX");
    beginMovie();
  }
  const std::string name = chunkName(stream, kind);
  addEntry(stream, {name, position_, static_cast<std::uint32_t>(bytes.size())});
  put(name + little32(claimedSize.value_or(static_cast<std::uint32_t>(bytes.size()))));
  put(bytes);
  if (header_.padsOddChunks) {
    put(std::string_view("\0", bytes.size() % 2));
  }
  put(std::string((header_.alignment - position_ % header_.alignment) % header_.alignment, '\0'));
  streams_[stream].bytes += bytes.size();
}

void AVIWriter::addEntry(unsigned stream, const AVIIndexEntry& chunk) {
  entries_.push_back({stream, chunk});
  ++streams_[stream].chunks;
}

void AVIWriter::endRIFF() {
  if (header_.chunksPerRIFF != 0) {
    for (unsigned stream = 0; stream < streams_.size(); ++stream) {
      putStandardIndex(stream);
    }
  }
  const auto movieSize = static_cast<std::uint32_t>(position_ - movieSize_ - 4);
  const auto error = static_cast<std::uint32_t>(header_.movieSizeError);
  patch(movieSize_, little32(riffs_ == 1 ? header_.claimedMovieSize.value_or(movieSize + error) : movieSize));
  if (riffs_ == 1 && header_.index != AVIIndex::none) {
    putOldIndex();
  }
  if (riffs_ == 1) {
    put(header_.behindIndex);
  }
  patchSize(riffSize_);
  if (riffs_ == 1 && header_.claimedRIFFSize) {
    patch(riffSize_, little32(*header_.claimedRIFFSize));
  }
  entries_.clear();
}

void AVIWriter::putStandardIndex(unsigned stream) {
  const std::uint64_t base = movieSize_;
  std::string indexed;
  std::uint32_t count = 0;
  for (const Entry& entry : entries_) {
    if (entry.stream == stream) {
      indexed += little32(entry.chunk.offset + 8 - base) + little32(entry.chunk.size);
      ++count;
    }
  }
  const std::string name = chunkName(stream, streams_[stream].isVideo ? "dc" : "wb");
  const std::uint64_t offset = position_;
  put(chunk("ix" + name.substr(0, 2), little16(2) + std::string("\x00\x01", 2) + little32(count) + name +
                                          little(base) + little32(0) + indexed));

  Stream& owner = streams_[stream];
  if (owner.superEntries == superIndexEntries) {
    throw std::runtime_error("too many RIFF lists for the super index");
  }
  patch(owner.superIndex + 24 + std::uint64_t{16} * owner.superEntries,
        little(offset) + little32(position_ - offset) + little32(count));
  ++owner.superEntries;
  patch(owner.superIndex, little16(4) + std::string(2, '\0') + little32(owner.superEntries) + name);
}

void AVIWriter::putOldIndex() {
  constexpr std::uint32_t keyFrame = 0x10;
  std::vector<AVIIndexEntry> entries;
  for (const Entry& entry : entries_) {
    entries.push_back(entry.chunk);
  }
  if (header_.index == AVIIndex::half) {
    entries.resize(entries.size() / 2);
  }
  if (header_.changeIndex) {
    header_.changeIndex(entries);
  }
  std::string content;
  for (const AVIIndexEntry& entry : entries) {
    content +=
        entry.chunk + little32(keyFrame) + little32(entry.offset - indexOrigin()) + little32(entry.size);
  }
  put(chunk("idx1", content));
}

std::uint64_t AVIWriter::indexOrigin() const {
  switch (header_.indexBase) {
    case AVIIndexBase::movieWord:
      return movieSize_ + 4;
    case AVIIndexBase::behindMovieWord:
      return movieSize_ + 8;
    case AVIIndexBase::fileStart:
      return 0;
  }
  throw std::runtime_error("no such origin");
}

}  // namespace tolvander::tests
