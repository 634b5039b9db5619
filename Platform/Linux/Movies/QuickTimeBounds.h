#pragma once

#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// Whether the tables of a QuickTime or MPEG-4 file (stsz, stz2, trun, keys) declare no more entries than its
// bytes can hold. A few bytes can declare four billion; libavformat would fill the memory with them before
// it reads the first one, and can't be cancelled during that. Compressed movie atoms (cmov), which can't be
// checked, count as unbounded.
//
// Reads everything outside of the media data once. Also false if that can't be read. Throws
// CancellationError.
bool hasBoundedTables(const MovieFile& file, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
