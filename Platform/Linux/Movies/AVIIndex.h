#pragma once

#include <optional>
#include <vector>

#include "Platform/Linux/Movies/AVIBytes.h"
#include "Platform/Linux/Movies/AVIChunks.h"
#include "Platform/Linux/Movies/AVIHeaders.h"
#include "Platform/Linux/Movies/AVIWalk.h"
#include "Platform/Linux/Movies/MovieFile.h"

namespace tolvander::platform::linux_ {

// What a file's index says of each stream, as many as the header has: the OpenDML index where every stream
// has one, or idx1. An entry of no bytes, and one that repeats the video entry before it, is a slot and no
// chunk.
//
// Absent where there is no index, and where an entry leads to no chunk of its name, leaves the file, or
// overlaps another one: then nothing in it is believed. Throws MovieError::unreadable where there are more
// than mostAVIChunks entries, and CancellationError.
std::optional<std::vector<AVIStreamChunks>> readAVIIndex(const MovieFile& file, const AVIHeaders& headers,
                                                         const AVIWalk& walk, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
