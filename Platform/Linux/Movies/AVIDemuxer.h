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

// Hands over the chunks that a reading of an AVI names.
//
// A packet of video is one frame, its time base is a slot, it begins where the one before it ends, and the
// first begins at 0. Sound has no times: they follow from counting, and the container's are wrong in too many
// files. A packet of sound is a chunk, or a part of a long one where the encoding's bytes can be divided.
// Streams of other types have no packets.
class AVIDemuxer final : public MovieDemuxer {
 public:
  // File and reading must outlive it. Throws also where a frame rate is out of range.
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
  std::int64_t taken_ = 0;           // bytes of the current chunk that were handed over
  std::vector<std::int64_t> times_;  // of each stream, in slots
  std::vector<bool> isDivisible_;
};

}  // namespace tolvander::platform::linux_
