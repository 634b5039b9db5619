#pragma once

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// Removes the incoming files of changes that were not prepared for a history and didn't come to their end.
// Only files that an intent names, and never one that has got its name among the originals: that one stays,
// as does its intent. What can't be removed now is left for the next time. To be called by the holder of the
// library's lock. Never throws.
void sweepLeftovers(const LibraryFolder& folder, Catalogue& catalogue) noexcept;

}  // namespace tolvander::platform::linux_
