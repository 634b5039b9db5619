#include "Platform/Linux/LibAV.h"

#include <array>
#include <new>

namespace tolvander::platform::linux_ {

PacketPointer makePacket() {
  PacketPointer packet(av_packet_alloc());
  if (!packet) {
    throw std::bad_alloc();
  }
  return packet;
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
