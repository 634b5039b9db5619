#pragma once

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// Removes the incoming files of incomplete changes that no history prepared. Removes only files that an
// intent names. A file that already has its final name stays, and so does its intent. Leftovers that can't
// be removed are left for the next call. To be called with the library's lock. Never throws.
void sweepLeftovers(const LibraryFolder& folder, Catalogue& catalogue) noexcept;

}  // namespace tolvander::platform::linux_
