#pragma once

#include <cstdint>
#include <memory>
#include <string>

// The libraries' headers need C linkage, and have warnings that this project treats as errors.
extern "C" {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/log.h>
#include <libavutil/mathematics.h>
#pragma GCC diagnostic pop
}

namespace tolvander::platform::linux_ {

struct LibAVDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  // libav may have replaced the buffer since the context was created.
  void operator()(AVIOContext* context) const {
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};

struct LibAVInputDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

struct LibAVOutputDeleter {
  void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};

using FormatInputPointer = std::unique_ptr<AVFormatContext, LibAVInputDeleter>;
using FormatOutputPointer = std::unique_ptr<AVFormatContext, LibAVOutputDeleter>;
using PacketPointer = std::unique_ptr<AVPacket, LibAVDeleter>;
using IOContextPointer = std::unique_ptr<AVIOContext, LibAVDeleter>;

// Options for opening a file; libav removes those that it recognises.
class LibAVOptions {
 public:
  LibAVOptions() = default;
  ~LibAVOptions() { av_dict_free(&dictionary_); }
  LibAVOptions(const LibAVOptions&) = delete;
  LibAVOptions& operator=(const LibAVOptions&) = delete;

  void set(const char* key, const char* value) { av_dict_set(&dictionary_, key, value, 0); }
  AVDictionary** get() { return &dictionary_; }

 private:
  AVDictionary* dictionary_ = nullptr;
};

// Throws std::bad_alloc if libav returns a null pointer.
PacketPointer makePacket();

// The byte type of write callbacks, const since FFmpeg 7.0.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using LibAVOutputByte = const std::uint8_t;
#else
using LibAVOutputByte = std::uint8_t;
#endif

// Copies the codec parameters and the display matrix (rotation) of a stream. Returns a negative libav error
// number on failure.
int copyStreamParameters(const AVStream& source, AVStream& target);

// The text of a libav error number.
std::string libAVErrorText(int error);

// Stops libav from writing to standard error.
void silenceLibAV();

}  // namespace tolvander::platform::linux_
