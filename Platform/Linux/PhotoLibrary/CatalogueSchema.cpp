#include "Platform/Linux/PhotoLibrary/CatalogueSchema.h"

#include <array>
#include <string>

#include "TolvanderApp/Platform/PhotosPlatformError.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

constexpr std::int64_t applicationID = 0x546C7664;  // "Tlvd"

constexpr int versionWithPlacements = 2;
constexpr int versionWithIntents = 4;

constexpr std::array<const char*, newestCatalogueVersion> steps = {
    R"(
CREATE TABLE assets (
  id INTEGER PRIMARY KEY,
  identifier TEXT NOT NULL UNIQUE,
  media_type INTEGER NOT NULL,
  creation_date INTEGER,
  pixel_width INTEGER NOT NULL,
  pixel_height INTEGER NOT NULL,
  duration REAL NOT NULL
) STRICT;
CREATE INDEX assets_by_creation_date ON assets (creation_date);
CREATE TABLE resources (
  asset INTEGER NOT NULL REFERENCES assets (id) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  type INTEGER NOT NULL,
  original_filename TEXT NOT NULL,
  path TEXT NOT NULL,
  path_key TEXT NOT NULL UNIQUE,
  byte_count INTEGER NOT NULL,
  PRIMARY KEY (asset, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE albums (
  id INTEGER PRIMARY KEY,
  identifier TEXT NOT NULL UNIQUE,
  title TEXT NOT NULL
) STRICT;
CREATE INDEX albums_by_title ON albums (title);
CREATE TABLE memberships (
  id INTEGER PRIMARY KEY,
  album INTEGER NOT NULL REFERENCES albums (id) ON DELETE CASCADE,
  asset INTEGER NOT NULL REFERENCES assets (id) ON DELETE CASCADE,
  UNIQUE (asset, album)
) STRICT;
CREATE INDEX memberships_by_album ON memberships (album);
)",
    R"(
CREATE TABLE placements (
  path TEXT PRIMARY KEY,
  inode INTEGER NOT NULL,
  byte_count INTEGER NOT NULL,
  modified INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
)",
    R"(
ALTER TABLE resources ADD COLUMN sha256 TEXT;
ALTER TABLE resources ADD COLUMN modified INTEGER;
)",
    R"(
CREATE INDEX resources_by_sha256 ON resources (sha256);
DROP TABLE placements;
CREATE TABLE intents (
  identifier TEXT PRIMARY KEY,
  creation_date INTEGER,
  media_type INTEGER NOT NULL,
  pixel_width INTEGER NOT NULL,
  pixel_height INTEGER NOT NULL,
  duration REAL NOT NULL,
  type INTEGER NOT NULL,
  original_filename TEXT NOT NULL,
  path TEXT NOT NULL,
  byte_count INTEGER NOT NULL,
  sha256 TEXT,
  modified INTEGER,
  path_key TEXT NOT NULL,
  history TEXT,
  temporary_name TEXT NOT NULL,
  is_marked INTEGER NOT NULL,
  album TEXT
) STRICT, WITHOUT ROWID;
CREATE INDEX intents_by_path_key ON intents (path_key);
)"};

std::int64_t number(Database& database, std::string_view sql) {
  Rows rows = database.query(sql);
  return rows.next() ? rows.integer(0) : 0;
}

}  // namespace

int catalogueVersion(Database& database) {
  const std::int64_t version = number(database, "PRAGMA user_version");
  const std::int64_t application = number(database, "PRAGMA application_id");
  const bool isEmpty = number(database, "SELECT count(*) FROM sqlite_schema") == 0;
  if (version == 0 && application == 0 && isEmpty) {
    return 0;
  }
  if (application != applicationID || version < 1) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "Library.sqlite is not the catalogue of a photo library of this program");
  }
  if (version > newestCatalogueVersion) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the photo library has version " + std::to_string(version) +
                                  ", and this program knows versions up to " +
                                  std::to_string(newestCatalogueVersion));
  }
  return static_cast<int>(version);
}

bool isNewerCatalogue(Database& database) {
  return number(database, "PRAGMA application_id") == applicationID &&
         number(database, "PRAGMA user_version") > newestCatalogueVersion;
}

void removeIntents(Database& database) {
  const int version = catalogueVersion(database);
  if (version >= versionWithIntents) {
    database.run("DELETE FROM intents");
  } else if (version >= versionWithPlacements) {
    database.run("DELETE FROM placements");
  }
}

void readAsNewest(Database& database, int version) {
  // A temporary view hides the table of the same name.
  if (version < 3) {
    database.run(
        "CREATE TEMP VIEW resources AS SELECT asset, position, type, original_filename, path, path_key,"
        " byte_count, NULL AS sha256, NULL AS modified FROM main.resources");
  }
  if (version < versionWithIntents) {
    database.run(
        "CREATE TEMP TABLE intents (identifier, creation_date, media_type, pixel_width, pixel_height, "
        "duration,"
        " type, original_filename, path, byte_count, sha256, modified, path_key, history, temporary_name,"
        " is_marked, album)");
  }
}

void upgradeCatalogue(Database& database, int version) {
  database.run("PRAGMA journal_mode=WAL");
  Transaction transaction(database, Transaction::Kind::writing);
  for (int step = catalogueVersion(database); step < version; ++step) {
    database.run(steps.at(static_cast<std::size_t>(step)));
  }
  database.run("PRAGMA application_id=" + std::to_string(applicationID));
  database.run("PRAGMA user_version=" + std::to_string(version));
  transaction.commit();
}

}  // namespace tolvander::platform::linux_
