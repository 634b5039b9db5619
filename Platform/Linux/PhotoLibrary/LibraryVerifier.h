#pragma once

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryListing.h"
#include "TolvanderCore/Cancellation.h"

namespace tolvander::platform::linux_ {

// Compares the catalogue with the files, and the catalogue with itself. Changes nothing. Reads the whole
// catalogue and no file's content. Throws DatabaseError, PosixError, and CancellationError, looked for at
// each file.
LibraryVerification verifyLibrary(const LibraryFolder& folder, Catalogue& catalogue,
                                  const CancellationToken& token);

}  // namespace tolvander::platform::linux_
