#include "Platform/Linux/MovieDemuxer.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string_view>

#include "Platform/Linux/QuickTimeBounds.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::platform::linux_ {

namespace {

std::optional<MovieContainer> containerOf(const MovieFile& file) {
  std::array<char, 12> start{};
  if (pread(file.descriptor(), start.data(), start.size(), 0) != static_cast<ssize_t>(start.size())) {
    return std::nullopt;
  }
  const std::string_view text(start.data(), start.size());
  if (text.starts_with("RIFF") && text.substr(8) == "AVI ") {
    return MovieContainer::avi;
  }
  constexpr std::array<std::string_view, 6> firstAtoms = {"ftyp", "moov", "mdat", "wide", "free", "skip"};
  if (std::ranges::find(firstAtoms, text.substr(4, 4)) != firstAtoms.end()) {
    return MovieContainer::quickTime;
  }
  return std::nullopt;
}

MovieContainer requireContainer(const MovieFile& file) {
  const auto container = containerOf(file);
  if (!container) {
    throw MovieError(MovieError::Case::unreadable, file.url(), "neither AVI nor QuickTime");
  }
  return *container;
}

int refuseOtherFiles(AVFormatContext* /*context*/, AVIOContext** /*io*/, const char* /*url*/, int /*flags*/,
                     AVDictionary** /*options*/) {
  return AVERROR(EACCES);
}

}  // namespace

MovieDemuxer::MovieDemuxer(const MovieFile& file, EditLists editLists, const CancellationToken& token)
    : file_(file), token_(token), io_(file, token), container_(requireContainer(file)) {
  if (container_ == MovieContainer::quickTime && !hasBoundedTables(file, token)) {
    fail("it claims more than it has room for");
  }
  silenceLibAV();
  context_.reset(avformat_alloc_context());
  if (!context_) {
    throw std::bad_alloc();
  }
  context_->pb = io_.context();
  if (container_ == MovieContainer::avi) {
    // Where libav can seek it loads the index, and reads only what that lists once it takes the file for
    // non-interleaved. Indexes are wrong in too many files: going from chunk to chunk, nothing is left out.
    io_.context()->seekable = 0;
  }
  context_->io_open = refuseOtherFiles;
  context_->interrupt_callback = {&isInterrupted, this};
  context_->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;

  LibAVOptions options;
  options.set("format_whitelist", "avi,mov");
  options.set("protocol_whitelist", "");
  options.set("max_streams", "32");
  if (container_ == MovieContainer::quickTime) {
    options.set("enable_drefs", "0");
    options.set("ignore_editlist", editLists == EditLists::ignored ? "1" : "0");
  }
  const AVInputFormat* format = av_find_input_format(container_ == MovieContainer::avi ? "avi" : "mov");
  AVFormatContext* opened = context_.release();  // which a failed opening frees
  const int result = avformat_open_input(&opened, nullptr, format, options.get());
  context_.reset(opened);
  if (result < 0) {
    checkForInterruption();
    fail(libAVErrorText(result).c_str());
  }
  for (int index = 0; index < streamCount(); ++index) {
    keep(index);  // libav's default leaves out packets without data
  }
  firstTimes_.assign(context_->nb_streams, AV_NOPTS_VALUE);
}

bool MovieDemuxer::read(AVPacket& packet) {
  av_packet_unref(&packet);
  const int result = av_read_frame(context_.get(), &packet);
  checkForInterruption();
  if (result == AVERROR_EOF && io_.context()->error >= 0) {
    return false;
  }
  if (result < 0) {
    fail(libAVErrorText(result == AVERROR_EOF ? io_.context()->error : result).c_str());
  }
  if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) {
    fail("a sample is cut off or damaged");
  }
  if (container_ == MovieContainer::avi) {
    timeFromStart(packet);
  }
  return true;
}

// An AVI's stream may claim to start at any time, and libav believes it.
void MovieDemuxer::timeFromStart(AVPacket& packet) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  if (index >= firstTimes_.size()) {
    fail("a stream without a header");
  }
  if (packet.dts == AV_NOPTS_VALUE ||
      stream(packet.stream_index).codecpar->codec_type != AVMEDIA_TYPE_VIDEO) {
    packet.dts = AV_NOPTS_VALUE;
    packet.duration = 0;
  } else {
    if (firstTimes_[index] == AV_NOPTS_VALUE) {
      firstTimes_[index] = packet.dts;
    }
    packet.dts -= firstTimes_[index];
    packet.duration = 1;
  }
  packet.pts = packet.dts;
}

int MovieDemuxer::isInterrupted(void* self) {
  return static_cast<const MovieDemuxer*>(self)->token_.isCancelled() ? 1 : 0;
}

void MovieDemuxer::checkForInterruption() const { token_.throwIfCancelled(); }

void MovieDemuxer::fail(const char* reason) const {
  throw MovieError(MovieError::Case::unreadable, file_.url(), reason);
}

}  // namespace tolvander::platform::linux_
