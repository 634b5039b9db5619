#pragma once

#include "Platform/Linux/PhotoLibrary/Database.h"

namespace tolvander::platform::linux_ {

// The form of Library.sqlite. Its version stands in SQLite's user_version, and "Tlvd" in its application_id.
//
// 1  assets, their resources, albums, memberships
// 2  placements: which names are about to be given to files whose assets aren't catalogued yet
// 3  resources: the SHA-256 of each (64 lower-case hexadecimal digits) and its modification date when it was
//    hashed, both null where it was never hashed; its size was byte_count then
// 4  intents, instead of placements: the files that are to become originals, with all that is catalogued of
//    each when it does. history is null where the change was not prepared. An index on sha256
//
// Instants are nanoseconds since 1970, durations seconds, paths relative to the library's folder. The numbers
// of types are those of PhotosMediaType and PhotosResourceType.
constexpr int newestCatalogueVersion = 4;

// 0 of a file in which nothing is yet. Reads only. Throws PhotosPlatformError of a catalogue that somebody
// newer wrote, or a file that is something else, and DatabaseError.
int catalogueVersion(Database& database);

// Whether a newer version of this program made it. Throws DatabaseError.
bool isNewerCatalogue(Database& database);

// Removes the intents from a catalogue of any version from 1.
void removeIntents(Database& database);

// Lets this connection ask a catalogue of an older version, from 1, as if it were of the newest one. Changes
// nothing in the file. The connection can't change it either, and is of no more use once the catalogue is
// upgraded.
void readAsNewest(Database& database, int version);

// Takes a catalogue of any version, or an empty file, to `version`, in one transaction.
void upgradeCatalogue(Database& database, int version = newestCatalogueVersion);

}  // namespace tolvander::platform::linux_
