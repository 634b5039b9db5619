#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "Platform/Linux/MovieFile.h"
#include "TolvanderCore/Cancellation.h"

namespace tolvander::platform::linux_ {

// What the chunks of one stream of an AVI add up to. Chunks without data don't count.
struct AVIStreamChunks {
  std::int64_t chunks = 0;
  std::int64_t bytes = 0;
};

// By stream number: a chunk's name has two digits for it.
using AVIChunks = std::array<AVIStreamChunks, 100>;

// Adds up the data chunks of an AVI by their headers alone (Microsoft, AVI RIFF File Reference; OpenDML AVI
// File Format Extensions 1.02). libavformat looks for the next chunk that it knows where it finds a damaged
// one, and says nothing of what it passed over; these sums tell.
//
// The sizes of RIFF lists are not looked at, and a movi list of size 0 or 0xFFFFFFFF goes on to its index or
// to the end of the file: cameras leave them so. Absent where a movi list holds a chunk of no known kind, or
// anything in it, or the list itself, goes beyond its end or that of the file; and where the file can't be
// read. Throws CancellationError.
std::optional<AVIChunks> aviChunks(const MovieFile& file, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
