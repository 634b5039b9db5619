#pragma once

#include <vector>

#include "Platform/Linux/Movies/AVIChunks.h"
#include "Platform/Linux/Movies/AVIHeaders.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// What an AVI holds. 16 bytes a chunk.
struct AVIReading {
  AVIHeaders headers;
  std::vector<AVIStreamChunks> streams;  // as many as the header has; empty for ignored ones
};

// Reads what an AVI holds where the walk over its chunks, its index, its header and its pictures give one
// reading by the rules of Documentation/avi.md. Reads no samples but the first and last bytes of Motion JPEG
// frames, where a rule asks for them.
//
// Throws MovieError::unreadable with a reason where they don't, and CancellationError.
AVIReading readAVI(const MovieFile& file, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
