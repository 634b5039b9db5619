#pragma once

#include <chrono>
#include <string>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// A folder that has pictures but no catalogue of them is not an empty library: with a new, empty catalogue
// every picture would be imported a second time. Both functions throw PhotosPlatformError; they also throw
// it if the folder of originals or one below it exists but can't be read, or if a link below it is broken.

// Throws if there is a picture or film among the originals or incoming files. For a catalogue that is
// missing or empty; `state` says which in the error: "missing", "empty".
void requireNoPictures(const LibraryFolder& folder, const std::string& state);

// Throws if the catalogue has no asset, and there is a picture or film among the originals that no intent
// names. Also throws DatabaseError.
void requireCatalogueOfPictures(const LibraryFolder& folder, Catalogue& catalogue);

// Whether the catalogue is damaged, or belongs to other pictures, so that rebuilding it helps. False if it
// is sound, and for every other error: a disk that is full, missing or unreadable, a file in use, a
// catalogue of another program or version. Throws only std::bad_alloc.
bool isCatalogueLost(const LibraryFolder& folder, std::chrono::milliseconds busyTimeout);

// Whether the error means that the database file itself is damaged, and not, for example, that the disk is
// full or the file is in use.
bool isDamage(const DatabaseError& error);

}  // namespace tolvander::platform::linux_
