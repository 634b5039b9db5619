#include "Platform/Linux/Movies/LibAV.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>

namespace tolvander::platform::linux_ {

PacketPointer makePacket() {
  PacketPointer packet(av_packet_alloc());
  if (!packet) {
    throw std::bad_alloc();
  }
  return packet;
}

int copyStreamParameters(const AVStream& source, AVStream& target) {
  const int result = avcodec_parameters_copy(target.codecpar, source.codecpar);
#if LIBAVFORMAT_VERSION_INT < AV_VERSION_INT(60, 15, 100)
  // Before FFmpeg 6.1 the display matrix isn't among the codec parameters.
  std::size_t size = 0;
  const std::uint8_t* matrix = av_stream_get_side_data(&source, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (result < 0 || matrix == nullptr) {
    return result;
  }
  std::uint8_t* copy = av_stream_new_side_data(&target, AV_PKT_DATA_DISPLAYMATRIX, size);
  if (copy == nullptr) {
    return AVERROR(ENOMEM);
  }
  std::memcpy(copy, matrix, size);
#endif
  return result;
}

std::string libAVErrorText(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(error, text.data(), text.size());
  return text.data();
}

void silenceLibAV() {
  static const bool once = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
  }();
  static_cast<void>(once);
}

}  // namespace tolvander::platform::linux_
