#pragma once

#include <optional>
#include <vector>

#include "Platform/Linux/Movies/AVIBytes.h"
#include "Platform/Linux/Movies/AVIChunks.h"
#include "Platform/Linux/Movies/AVIHeaders.h"
#include "Platform/Linux/Movies/AVIWalk.h"
#include "Platform/Linux/Movies/MovieFile.h"

namespace tolvander::platform::linux_ {

// The chunks of each stream of the header according to the file's index: the OpenDML index if every stream
// has one, otherwise idx1. An empty entry, and one that repeats the previous video entry, is a slot without
// a chunk.
//
// Absent without an index, and if any entry doesn't point to a chunk of its name, points outside of the
// file, or overlaps another one: then the whole index is unreliable. Throws MovieError::unreadable for more
// than mostAVIChunks entries, and CancellationError.
std::optional<std::vector<AVIStreamChunks>> readAVIIndex(const MovieFile& file, const AVIHeaders& headers,
                                                         const AVIWalk& walk, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
