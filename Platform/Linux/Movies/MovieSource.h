#pragma once

#include <memory>
#include <optional>

#include "Platform/Linux/Movies/AVIReading.h"
#include "Platform/Linux/Movies/MovieDemuxer.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "Platform/Linux/Movies/QuickTimeDemuxer.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// An opened movie file, and the contents of an AVI.
struct MovieSource {
  MovieFile file;
  std::optional<AVIReading> avi;  // absent for QuickTime and MPEG-4

  // Recognises the container by the first bytes. Throws PosixError, MovieError::unreadable and
  // CancellationError.
  static MovieSource open(const FileURL& url, const CancellationToken& token);

  // A demuxer at the first packet. AVIs have no edit lists. This object must outlive it. Throws as the
  // demuxers do.
  std::unique_ptr<MovieDemuxer> demuxer(EditLists editLists, const CancellationToken& token) const;
};

}  // namespace tolvander::platform::linux_
