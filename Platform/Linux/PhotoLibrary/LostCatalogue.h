#pragma once

#include <chrono>
#include <string>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// A folder that has pictures and no catalogue of them is not an empty library: with a new, empty catalogue
// every picture would be imported a second time. Both throw PhotosPlatformError, also where the folder of
// originals or one below it is there and can't be read, and where a link among the originals leads nowhere.

// For a library whose catalogue is not there, or has nothing in it. `state` says which, for the error:
// "missing", "empty". Throws where there is a picture or film among the originals or an incoming file.
void requireNoPictures(const LibraryFolder& folder, const std::string& state);

// Throws where the catalogue names no asset and there is a picture or film among the originals that no intent
// names. Throws DatabaseError too.
void requireCatalogueOfPictures(const LibraryFolder& folder, Catalogue& catalogue);

// Whether the catalogue itself is what can't be used: it is damaged, or not that of the pictures that are
// there. Making it anew helps then. False where it is sound, and of every other failure: of a disk that is
// full, gone or can't be read, of a file that is in use, of a catalogue of another program or version. Throws
// nothing but std::bad_alloc.
bool isCatalogueLost(const LibraryFolder& folder, std::chrono::milliseconds busyTimeout);

// What the file itself is, as opposed to a disk that is full or a file that is in use.
bool isDamage(const DatabaseError& error);

}  // namespace tolvander::platform::linux_
