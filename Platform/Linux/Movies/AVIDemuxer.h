#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/Linux/Movies/AVIReading.h"
#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/MovieDemuxer.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// Returns the chunks of an AVIReading as packets.
//
// A video packet is one frame; its time base is a slot, and it begins where the previous one ends; the first
// begins at 0. Audio packets have no times: callers derive them by counting samples, because the times in
// too many files are wrong. An audio packet is a chunk, or a part of a long one if the codec allows dividing
// it. Streams of other types have no packets.
class AVIDemuxer final : public MovieDemuxer {
 public:
  // `file` and `reading` must outlive it. Also throws if a frame rate is out of range.
  AVIDemuxer(const MovieFile& file, const AVIReading& reading, const CancellationToken& token);

  bool read(AVPacket& packet) override;

 private:
  void addStream(const AVIStreamHeader& header);
  bool findNext();
  std::int64_t partSize() const;
  [[noreturn]] void fail(const char* reason) const;

  const MovieFile& file_;
  const AVIReading& reading_;
  CancellationToken token_;
  ChunksInFileOrder order_;
  std::optional<ChunksInFileOrder::Next> current_;
  std::int64_t taken_ = 0;           // bytes of the current chunk that were returned
  std::vector<std::int64_t> times_;  // of each stream, in slots
  std::vector<bool> isDivisible_;
};

}  // namespace tolvander::platform::linux_
