#pragma once

#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/MovieDemuxer.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

enum class EditLists {
  ignored,  // every sample in the file
  applied,  // the samples that a player would show, with their times
};

// QuickTime and MPEG-4 files, read by libavformat.
class QuickTimeDemuxer final : public MovieDemuxer {
 public:
  QuickTimeDemuxer(const MovieFile& file, EditLists editLists, const CancellationToken& token);

  bool read(AVPacket& packet) override;

 private:
  static int isInterrupted(void* self);

  [[noreturn]] void fail(const char* reason) const;

  const MovieFile& file_;
  CancellationToken token_;
  MovieFileIO io_;
};

}  // namespace tolvander::platform::linux_
