#pragma once

#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// Whether the sample tables of a QuickTime or MPEG-4 file claim no more samples than its bytes can hold. A
// few bytes can claim four thousand million; libavformat would fill memory with them before it reads the
// first one, deaf to cancellation. Compressed movie atoms, whose claims can't be seen, count as unbounded.
//
// Reads what lies outside of the media data once. False also where that can't be read. Throws
// CancellationError.
bool hasBoundedTables(const MovieFile& file, const CancellationToken& token);

}  // namespace tolvander::platform::linux_
