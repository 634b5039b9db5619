#include "Platform/Linux/Movies/AVIDemuxer.h"

#include <algorithm>
#include <limits>
#include <new>
#include <numeric>

#include "Platform/Linux/Movies/AVIParameters.h"
#include "Platform/Linux/Movies/SampleLayout.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::int64_t largestPacket = 33'554'432;  // bytes; frames of Motion JPEG have at most a tenth
constexpr std::int64_t largestPart = 262'144;

}  // namespace

AVIDemuxer::AVIDemuxer(const MovieFile& file, const AVIReading& reading, const CancellationToken& token)
    : file_(file),
      reading_(reading),
      token_(token),
      order_(reading.streams),
      times_(reading.streams.size()),
      isDivisible_(reading.streams.size()) {
  for (const AVIStreamHeader& header : reading.headers.streams) {
    addStream(header);
  }
}

void AVIDemuxer::addStream(const AVIStreamHeader& header) {
  AVStream* stream = avformat_new_stream(context_.get(), nullptr);
  if (stream == nullptr) {
    throw std::bad_alloc();
  }
  keep(stream->index);
  if (header.type == AVIStreamType::ignored) {
    return;
  }
  const CodecParametersPointer parameters = aviParameters(header);
  if (!parameters || avcodec_parameters_copy(stream->codecpar, parameters.get()) < 0) {
    throw std::bad_alloc();
  }
  isDivisible_[static_cast<std::size_t>(stream->index)] = sampleLayout(*parameters).has_value();
  if (header.type == AVIStreamType::video) {
    const std::uint32_t divisor = std::gcd(header.scale, header.rate);
    constexpr std::uint32_t most = std::numeric_limits<std::int32_t>::max();
    if (header.scale / divisor > most || header.rate / divisor > most) {
      fail("its frame rate is out of range");
    }
    stream->time_base = {static_cast<int>(header.scale / divisor), static_cast<int>(header.rate / divisor)};
    stream->sample_aspect_ratio = aviPixelShape(header);
  }
}

bool AVIDemuxer::read(AVPacket& packet) {
  av_packet_unref(&packet);
  token_.throwIfCancelled();
  if (!findNext()) {
    return false;
  }
  const std::int64_t size = partSize();
  if (size > largestPacket) {
    fail("a frame is too large");
  }
  if (av_new_packet(&packet, static_cast<int>(size)) < 0) {
    throw std::bad_alloc();
  }
  const auto count = static_cast<std::size_t>(size);
  const ssize_t read = retryOnEINTR(
      [&] { return pread(file_.descriptor(), packet.data, count, current_->chunk.offset + taken_); });
  if (read != size) {
    fail("a sample can't be read");
  }
  taken_ += size;
  packet.stream_index = static_cast<int>(current_->stream);
  packet.flags = AV_PKT_FLAG_KEY;
  if (stream(packet.stream_index).codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
    std::int64_t& time = times_[current_->stream];
    packet.pts = time;
    packet.dts = time;
    packet.duration = current_->chunk.slots;
    time += packet.duration;
  }
  return true;
}

// Advances to the chunk of the next packet.
bool AVIDemuxer::findNext() {
  while (!current_ || taken_ == current_->chunk.size || isSkipped(static_cast<int>(current_->stream))) {
    current_ = order_.next();
    taken_ = 0;
    if (!current_) {
      return false;
    }
  }
  return true;
}

std::int64_t AVIDemuxer::partSize() const {
  const std::int64_t left = current_->chunk.size - taken_;
  return isDivisible_[current_->stream] ? std::min(left, largestPart) : left;
}

void AVIDemuxer::fail(const char* reason) const {
  throw MovieError(MovieError::Case::unreadable, file_.url(), reason);
}

}  // namespace tolvander::platform::linux_
