#pragma once

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// Removes what a change left that didn't come to its end: files that have no name yet, and files whose names
// are among the catalogue's placements. A file under such a name that isn't the one that was to get it
// belongs to somebody else and stays, as does every other file. What can't be removed now is left for the
// next time. To be called by the holder of the library's lock. Never throws.
void sweepLeftovers(const LibraryFolder& folder, Catalogue& catalogue) noexcept;

}  // namespace tolvander::platform::linux_
