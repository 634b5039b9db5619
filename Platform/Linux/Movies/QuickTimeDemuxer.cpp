#include "Platform/Linux/Movies/QuickTimeDemuxer.h"

#include "Platform/Linux/Movies/QuickTimeBounds.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::platform::linux_ {

namespace {

int refuseOtherFiles(AVFormatContext* /*context*/, AVIOContext** /*io*/, const char* /*url*/, int /*flags*/,
                     AVDictionary** /*options*/) {
  return AVERROR(EACCES);
}

}  // namespace

QuickTimeDemuxer::QuickTimeDemuxer(const MovieFile& file, EditLists editLists, const CancellationToken& token)
    : file_(file), token_(token), io_(file, token) {
  if (!hasBoundedTables(file, token)) {
    fail("it claims more than it has room for");
  }
  context_->pb = io_.context();
  context_->io_open = refuseOtherFiles;
  context_->interrupt_callback = {&isInterrupted, this};
  context_->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;

  LibAVOptions options;
  options.set("format_whitelist", "mov");
  options.set("protocol_whitelist", "");
  options.set("max_streams", "32");
  options.set("enable_drefs", "0");
  options.set("ignore_editlist", editLists == EditLists::ignored ? "1" : "0");
  AVFormatContext* opened = context_.release();  // avformat_open_input frees it on failure
  const int result = avformat_open_input(&opened, nullptr, av_find_input_format("mov"), options.get());
  context_.reset(opened);
  if (result < 0) {
    token_.throwIfCancelled();
    fail(libAVErrorText(result).c_str());
  }
  for (int index = 0; index < streamCount(); ++index) {
    keep(index);  // libav's default skips packets without data
  }
}

bool QuickTimeDemuxer::read(AVPacket& packet) {
  av_packet_unref(&packet);
  const int result = av_read_frame(context_.get(), &packet);
  token_.throwIfCancelled();
  if (result == AVERROR_EOF && io_.context()->error >= 0) {
    return false;
  }
  if (result < 0) {
    fail(libAVErrorText(result == AVERROR_EOF ? io_.context()->error : result).c_str());
  }
  if ((packet.flags & AV_PKT_FLAG_CORRUPT) != 0) {
    fail("a sample is cut off or damaged");
  }
  return true;
}

int QuickTimeDemuxer::isInterrupted(void* self) {
  return static_cast<const QuickTimeDemuxer*>(self)->token_.isCancelled() ? 1 : 0;
}

void QuickTimeDemuxer::fail(const char* reason) const {
  throw MovieError(MovieError::Case::unreadable, file_.url(), reason);
}

}  // namespace tolvander::platform::linux_
