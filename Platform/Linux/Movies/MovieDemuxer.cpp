#include "Platform/Linux/Movies/MovieDemuxer.h"

#include <new>

namespace tolvander::platform::linux_ {

MovieDemuxer::MovieDemuxer() : context_(avformat_alloc_context()) {
  silenceLibAV();
  if (!context_) {
    throw std::bad_alloc();
  }
}

}  // namespace tolvander::platform::linux_
