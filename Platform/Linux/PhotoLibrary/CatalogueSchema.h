#pragma once

#include "Platform/Linux/PhotoLibrary/Database.h"

namespace tolvander::platform::linux_ {

// The form of Library.sqlite. Its version stands in SQLite's user_version, and "Tlvd" in its application_id.
//
// 1  assets, their resources, albums, memberships
// 2  placements: which names are about to be given to files whose assets aren't catalogued yet
//
// Instants are nanoseconds since 1970, durations seconds, paths relative to the library's folder. The numbers
// of types are those of PhotosMediaType and PhotosResourceType.
constexpr int newestCatalogueVersion = 2;

// 0 of a file in which nothing is yet. Reads only. Throws PhotosPlatformError of a catalogue that somebody
// newer wrote, or a file that is something else, and DatabaseError.
int catalogueVersion(Database& database);

// Takes a catalogue of any version, or an empty file, to `version`, in one transaction.
void upgradeCatalogue(Database& database, int version = newestCatalogueVersion);

}  // namespace tolvander::platform::linux_
