#pragma once

#include <vector>

#include "Platform/Linux/Movies/AVIChunks.h"
#include "Platform/Linux/Movies/AVIHeaders.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// The contents of an AVI. 16 bytes per chunk.
struct AVIReading {
  AVIHeaders headers;
  std::vector<AVIStreamChunks> streams;  // as many as the header has; empty for ignored ones
};

// Reads an AVI if the walk over its chunks, its index, its headers and its frames agree on one reading by
// the rules of Documentation/avi.md. Reads no samples except the first and last bytes of Motion JPEG frames,
// if a rule needs them.
AVIReading readAVI(const MovieFile& file, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
