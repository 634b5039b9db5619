#pragma once

#include "Platform/Linux/PhotoLibrary/Database.h"

namespace tolvander::platform::linux_ {

// The schema of Library.sqlite. Its version is in SQLite's user_version, and "Tlvd" in its application_id.
//
// 1  assets, their resources, albums, memberships
// 2  placements: the names that are about to be given to files whose assets aren't catalogued yet
// 3  resources: the SHA-256 of each (64 lower-case hexadecimal digits) and its modification date when it was
//    hashed; both null if it was never hashed. byte_count is its size at that time
// 4  intents replace placements: the files that are about to become originals, with all that will be
//    catalogued of each. history is null if the change was not prepared. An index on sha256
//
// Dates are nanoseconds since 1970 (UTC), durations seconds, paths relative to the library's folder. The
// numbers of types are the values of PhotosMediaType and PhotosResourceType.
constexpr int newestCatalogueVersion = 4;

// The version of the catalogue; 0 if the file is empty. Only reads. Throws PhotosPlatformError if it isn't a
// catalogue of this program or was written by a newer version, and DatabaseError.
int catalogueVersion(Database& database);

// Whether a newer version of this program wrote the catalogue. Throws DatabaseError.
bool isNewerCatalogue(Database& database);

// Removes the intents, or placements, from a catalogue of any version from 1.
void removeIntents(Database& database);

// Creates temporary views so that this connection can run queries of the newest version on a catalogue of an
// older `version`, from 1. Doesn't change the file. The connection can't make changes, and must not be used
// after an upgrade of the catalogue.
void readAsNewest(Database& database, int version);

// Upgrades a catalogue of any older version, or creates it in an empty file, in one transaction.
void upgradeCatalogue(Database& database, int version = newestCatalogueVersion);

}  // namespace tolvander::platform::linux_
