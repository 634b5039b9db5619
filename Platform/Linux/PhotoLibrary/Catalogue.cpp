#include "Platform/Linux/PhotoLibrary/Catalogue.h"

#include <limits>
#include <unordered_set>
#include <utility>

#include "Platform/Linux/PhotoLibrary/CatalogueSchema.h"
#include "Platform/Linux/PhotoLibrary/OriginalNames.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"

namespace tolvander::platform::linux_ {

using app::PhotosAlbum;
using app::PhotosAsset;
using app::PhotosAssetResource;
using app::PhotosFetchOptions;
using app::PhotosMediaType;
using app::PhotosPlatformError;
using app::PhotosResourceType;

namespace {

std::int64_t stored(Date date) { return date.time_since_epoch().count(); }

Date dateFrom(std::int64_t nanoseconds) { return Date(std::chrono::nanoseconds(nanoseconds)); }

// Unknown numbers become `unknown` and `other`.
PhotosMediaType mediaTypeFrom(std::int64_t number) {
  const bool isKnown = number >= 0 && number <= static_cast<std::int64_t>(PhotosMediaType::audio);
  return isKnown ? static_cast<PhotosMediaType>(number) : PhotosMediaType::unknown;
}

PhotosResourceType resourceTypeFrom(std::int64_t number) {
  const bool isKnown = number >= 0 && number <= static_cast<std::int64_t>(PhotosResourceType::other);
  return isKnown ? static_cast<PhotosResourceType>(number) : PhotosResourceType::other;
}

#define ASSET_COLUMNS "identifier, creation_date, media_type, pixel_width, pixel_height, duration"
// One row for each original; the rows of an asset are adjacent. CROSS JOIN makes SQLite join in the written
// order (sqlite.org/lang_select.html), so that rows come in the order of an index on assets.
#define ORIGINAL_COLUMNS ASSET_COLUMNS ", path, byte_count, assets.id"
#define ORIGINALS_OF_ASSETS \
  "SELECT " ORIGINAL_COLUMNS " FROM assets CROSS JOIN resources ON resources.asset = assets.id "
#define RESOURCE_COLUMNS "type, original_filename, path, byte_count, sha256, modified"
#define PLACED_RESOURCE_COLUMNS RESOURCE_COLUMNS ", identifier, resources.asset, position"

PhotosAsset assetFrom(const Rows& rows) {
  return {.localIdentifier = rows.text(0),
          .creationDate = rows.isNull(1) ? std::nullopt : std::optional(dateFrom(rows.integer(1))),
          .mediaType = mediaTypeFrom(rows.integer(2)),
          .pixelWidth = rows.integer(3),
          .pixelHeight = rows.integer(4),
          .duration = rows.real(5)};
}

// Absent unless both columns have a value; a damaged catalogue may have only one.
std::optional<CataloguedContent> contentFrom(const Rows& rows, int sha256, int modified) {
  if (rows.isNull(sha256) || rows.isNull(modified)) {
    return std::nullopt;
  }
  return CataloguedContent{.sha256 = rows.text(sha256), .modified = dateFrom(rows.integer(modified))};
}

// Reads RESOURCE_COLUMNS, starting at column `first`.
CataloguedResource resourceFrom(const Rows& rows, int first = 0) {
  return {.type = resourceTypeFrom(rows.integer(first)),
          .originalFilename = rows.text(first + 1),
          .path = rows.text(first + 2),
          .byteCount = rows.integer(first + 3),
          .content = contentFrom(rows, first + 4, first + 5)};
}

// Reads PLACED_RESOURCE_COLUMNS.
CataloguedOriginal placedResourceFrom(const Rows& rows) {
  return {.asset = rows.text(6),
          .row = rows.integer(7),
          .position = rows.integer(8),
          .resource = resourceFrom(rows)};
}

std::optional<std::int64_t> storedDate(const PhotosAsset& asset) {
  return asset.creationDate ? std::optional(stored(*asset.creationDate)) : std::nullopt;
}

std::optional<std::string_view> storedHash(const CataloguedResource& original) {
  return original.content ? std::optional<std::string_view>(original.content->sha256) : std::nullopt;
}

std::optional<std::int64_t> storedModification(const CataloguedResource& original) {
  return original.content ? std::optional(stored(original.content->modified)) : std::nullopt;
}

std::optional<std::string> textOrNone(const Rows& rows, int column) {
  return rows.isNull(column) ? std::nullopt : std::optional(rows.text(column));
}

// Reads rows of ORIGINAL_COLUMNS, and appends at most `limit` assets.
void append(Rows&& rows, const Catalogue::OriginalTest& isThere, std::vector<PhotosAsset>& assets,
            std::size_t limit = std::numeric_limits<std::size_t>::max()) {
  constexpr int path = 6;
  constexpr int byteCount = 7;
  constexpr int row = 8;
  bool hasRow = rows.next();
  while (hasRow && limit > 0) {
    PhotosAsset asset = assetFrom(rows);
    const std::int64_t rowOfAsset = rows.integer(row);
    bool areAllThere = true;
    do {
      areAllThere = areAllThere && isThere(rows.text(path), rows.integer(byteCount));
      hasRow = rows.next();
    } while (hasRow && rows.integer(row) == rowOfAsset);
    if (areAllThere) {
      assets.push_back(std::move(asset));
      --limit;
    }
  }
}

void append(Rows&& rows, std::vector<PhotosAlbum>& albums) {
  while (rows.next()) {
    albums.push_back({.localIdentifier = rows.text(0), .localizedTitle = rows.text(1)});
  }
}

// Calls `ask` once for each different identifier, all within one read transaction.
template <typename Ask>
void forEachIdentifier(Database& database, const std::vector<std::string>& identifiers, Ask ask) {
  std::unordered_set<std::string_view> seen;
  const Transaction snapshot(database, Transaction::Kind::reading);
  for (const std::string& identifier : identifiers) {
    if (seen.insert(identifier).second) {
      ask(std::string_view(identifier));
    }
  }
}

}  // namespace

Catalogue::Catalogue(const FileURL& file, std::chrono::milliseconds busyTimeout)
    : database_(file, Database::OpenMode::existing, busyTimeout) {
  const int version = catalogueVersion(database_);
  if (version == 0) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the catalogue of the photo library is not complete");
  }
  readAsNewest(database_, version);
  database_.checkpointOnClose();
}

void Catalogue::createOrUpgrade(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  Database database(file, Database::OpenMode::existingOrNew, busyTimeout);
  if (catalogueVersion(database) != newestCatalogueVersion) {
    upgradeCatalogue(database);
    database.checkpointOnClose();
  }
}

bool Catalogue::isUnmade(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  Database database(file, Database::OpenMode::existing, busyTimeout);
  return catalogueVersion(database) == 0;
}

bool Catalogue::isOfNewerVersion(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  try {
    Database database(file, Database::OpenMode::existing, busyTimeout);
    return isNewerCatalogue(database);
  } catch (const DatabaseError&) {
    return false;
  }
}

void Catalogue::copyWithoutIntents(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  Database copy(file, Database::OpenMode::existingOrNew, busyTimeout);
  database_.copyTo(copy);
  removeIntents(copy);
  copy.checkpointOnClose();
}

std::vector<PhotosAsset> Catalogue::assets(const PhotosFetchOptions& options, const OriginalTest& isThere) {
  // SQLite sorts NULL before other values. The limit is not part of the SQL because that would count assets
  // whose files are missing.
  const bool ascends = options.order == PhotosFetchOptions::Order::creationDateAscending;
  const std::size_t limit = options.fetchLimit > 0 ? static_cast<std::size_t>(options.fetchLimit)
                                                   : std::numeric_limits<std::size_t>::max();
  std::vector<PhotosAsset> found;
  if (options.creationDates) {
    append(
        database_.query(ascends ? ORIGINALS_OF_ASSETS
                            "WHERE creation_date BETWEEN ? AND ? ORDER BY creation_date, assets.id"
                                : ORIGINALS_OF_ASSETS
                            "WHERE creation_date BETWEEN ? AND ? ORDER BY creation_date DESC, assets.id DESC",
                        stored(options.creationDates->from), stored(options.creationDates->to)),
        isThere, found, limit);
  } else {
    append(database_.query(ascends ? ORIGINALS_OF_ASSETS "ORDER BY creation_date, assets.id"
                                   : ORIGINALS_OF_ASSETS "ORDER BY creation_date DESC, assets.id DESC"),
           isThere, found, limit);
  }
  return found;
}

std::vector<PhotosAsset> Catalogue::assets(const std::vector<std::string>& identifiers,
                                           const OriginalTest& isThere) {
  std::vector<PhotosAsset> found;
  forEachIdentifier(database_, identifiers, [&](std::string_view identifier) {
    append(database_.query(ORIGINALS_OF_ASSETS "WHERE identifier = ?", identifier), isThere, found);
  });
  return found;
}

std::vector<PhotosAsset> Catalogue::assetsOfAlbum(const std::string& identifier,
                                                  const OriginalTest& isThere) {
  std::vector<PhotosAsset> found;
  append(database_.query("SELECT " ORIGINAL_COLUMNS
                         " FROM memberships CROSS JOIN assets ON assets.id = memberships.asset"
                         " CROSS JOIN resources ON resources.asset = assets.id"
                         " WHERE memberships.album = (SELECT id FROM albums WHERE identifier = ?)"
                         " ORDER BY memberships.id",
                         std::string_view(identifier)),
         isThere, found);
  return found;
}

std::vector<PhotosAlbum> Catalogue::albums(const std::optional<std::string>& title) {
  std::vector<PhotosAlbum> found;
  if (title) {
    append(database_.query("SELECT identifier, title FROM albums WHERE title = ? ORDER BY id",
                           std::string_view(*title)),
           found);
  } else {
    append(database_.query("SELECT identifier, title FROM albums ORDER BY id"), found);
  }
  return found;
}

std::vector<PhotosAlbum> Catalogue::albumsWithIdentifiers(const std::vector<std::string>& identifiers) {
  std::vector<PhotosAlbum> found;
  forEachIdentifier(database_, identifiers, [&](std::string_view identifier) {
    append(database_.query("SELECT identifier, title FROM albums WHERE identifier = ?", identifier), found);
  });
  return found;
}

std::vector<PhotosAssetResource> Catalogue::resources(const std::string& assetIdentifier) {
  std::vector<PhotosAssetResource> found;
  Rows rows = database_.query(
      "SELECT position, type, original_filename FROM resources"
      " WHERE asset = (SELECT id FROM assets WHERE identifier = ?) ORDER BY position",
      std::string_view(assetIdentifier));
  while (rows.next()) {
    found.push_back({.assetLocalIdentifier = assetIdentifier,
                     .index = rows.integer(0),
                     .type = resourceTypeFrom(rows.integer(1)),
                     .originalFilename = rows.text(2)});
  }
  return found;
}

std::vector<CataloguedResource> Catalogue::originals(const std::string& assetIdentifier) {
  std::vector<CataloguedResource> found;
  Rows rows = database_.query("SELECT " RESOURCE_COLUMNS
                              " FROM resources WHERE asset = (SELECT id FROM assets WHERE identifier = ?)"
                              " ORDER BY position",
                              std::string_view(assetIdentifier));
  while (rows.next()) {
    found.push_back(resourceFrom(rows));
  }
  return found;
}

std::optional<CataloguedResource> Catalogue::resource(const std::string& assetIdentifier,
                                                      std::int64_t index) {
  Rows rows = database_.query(
      "SELECT " RESOURCE_COLUMNS
      " FROM resources WHERE asset = (SELECT id FROM assets WHERE identifier = ?) AND position = ?",
      std::string_view(assetIdentifier), index);
  return rows.next() ? std::optional(resourceFrom(rows)) : std::nullopt;
}

void Catalogue::forEachAsset(const Visitor& visit) {
  const Transaction snapshot(database_, Transaction::Kind::reading);
  Rows assets = database_.query("SELECT " ASSET_COLUMNS ", id FROM assets ORDER BY creation_date, id");
  while (assets.next()) {
    std::vector<CataloguedResource> resources;
    Rows rows = database_.query(
        "SELECT " RESOURCE_COLUMNS " FROM resources WHERE asset = ? ORDER BY position", assets.integer(6));
    while (rows.next()) {
      resources.push_back(resourceFrom(rows));
    }
    if (!visit(assetFrom(assets), resources)) {
      return;
    }
  }
}

std::vector<CataloguedOriginal> Catalogue::soleOriginals(const std::vector<std::string>& assetIdentifiers) {
  std::vector<CataloguedOriginal> found;
  forEachIdentifier(database_, assetIdentifiers, [&](std::string_view identifier) {
    Rows rows = database_.query("SELECT " PLACED_RESOURCE_COLUMNS
                                " FROM assets CROSS JOIN resources ON resources.asset = assets.id"
                                " WHERE identifier = ?",
                                identifier);
    if (!rows.next()) {
      return;
    }
    CataloguedOriginal original = placedResourceFrom(rows);
    if (!rows.next()) {
      found.push_back(std::move(original));
    }
  });
  return found;
}

std::vector<CataloguedOriginal> Catalogue::originalsAfter(const std::optional<CataloguedOriginal>& last,
                                                          std::size_t limit) {
  std::vector<CataloguedOriginal> found;
  Rows rows = database_.query("SELECT " PLACED_RESOURCE_COLUMNS
                              " FROM resources CROSS JOIN assets ON assets.id = resources.asset"
                              " WHERE (resources.asset, position) > (?, ?)"
                              " ORDER BY resources.asset, position LIMIT ?",
                              last ? last->row : std::numeric_limits<std::int64_t>::min(),
                              last ? last->position : 0, static_cast<std::int64_t>(limit));
  while (rows.next()) {
    found.push_back(placedResourceFrom(rows));
  }
  return found;
}

CatalogueTotals Catalogue::totals() {
  Rows rows = database_.query(
      "SELECT (SELECT count(*) FROM assets), count(*), ifnull(sum(byte_count), 0) FROM resources");
  rows.next();
  return {.assets = rows.integer(0), .originals = rows.integer(1), .bytes = rows.integer(2)};
}

std::vector<CataloguedAlbum> Catalogue::albumsWithCounts(const OriginalTest& isThere) {
  const Transaction snapshot(database_, Transaction::Kind::reading);
  std::vector<CataloguedAlbum> found;
  for (PhotosAlbum& album : albums(std::nullopt)) {
    const std::size_t count = assetsOfAlbum(album.localIdentifier, isThere).size();
    found.push_back({std::move(album), static_cast<std::int64_t>(count)});
  }
  return found;
}

bool Catalogue::isEmpty() { return !database_.query("SELECT 1 FROM assets LIMIT 1").next(); }

std::vector<std::string> Catalogue::problems() {
  std::vector<std::string> found;
  Rows checks = database_.query("PRAGMA integrity_check");
  while (checks.next()) {
    if (checks.text(0) != "ok") {
      found.push_back(checks.text(0));
    }
  }
  Rows references = database_.query("PRAGMA foreign_key_check");
  while (references.next()) {
    found.push_back("a row of " + references.text(0) + " belongs to a row of " + references.text(2) +
                    " that isn't there");
  }
  return found;
}

bool Catalogue::hasPath(const std::string& path) {
  return database_
      .query("SELECT 1 FROM resources WHERE path_key = ?", std::string_view(originalNameKey(path)))
      .next();
}

bool Catalogue::intendsPath(const std::string& path) {
  return database_.query("SELECT 1 FROM intents WHERE path_key = ?", std::string_view(originalNameKey(path)))
      .next();
}

std::vector<Intent> Catalogue::intents() {
  constexpr int resourceColumns = 6;
  constexpr int otherColumns = 12;
  std::vector<Intent> found;
  Rows rows = database_.query("SELECT " ASSET_COLUMNS ", " RESOURCE_COLUMNS
                              ", history, temporary_name, is_marked, album FROM intents ORDER BY identifier");
  while (rows.next()) {
    found.push_back({.history = textOrNone(rows, otherColumns),
                     .temporaryName = rows.text(otherColumns + 1),
                     .isMarked = rows.integer(otherColumns + 2) != 0,
                     .album = textOrNone(rows, otherColumns + 3),
                     .asset = assetFrom(rows),
                     .original = resourceFrom(rows, resourceColumns)});
  }
  return found;
}

std::vector<std::pair<PhotosAsset, CataloguedResource>> Catalogue::assetsWithContent(
    const std::string& sha256) {
  constexpr int resourceColumns = 6;
  std::vector<std::pair<PhotosAsset, CataloguedResource>> found;
  Rows rows = database_.query("SELECT " ASSET_COLUMNS ", " RESOURCE_COLUMNS
                              " FROM resources CROSS JOIN assets ON assets.id = resources.asset"
                              " WHERE sha256 = ? ORDER BY assets.id",
                              std::string_view(sha256));
  while (rows.next()) {
    found.emplace_back(assetFrom(rows), resourceFrom(rows, resourceColumns));
  }
  return found;
}

void Catalogue::insertAsset(const PhotosAsset& asset, const CataloguedResource& original) {
  database_.execute("INSERT INTO assets (" ASSET_COLUMNS ") VALUES (?, ?, ?, ?, ?, ?)",
                    std::string_view(asset.localIdentifier), storedDate(asset),
                    static_cast<std::int64_t>(asset.mediaType), asset.pixelWidth, asset.pixelHeight,
                    asset.duration);
  database_.execute("INSERT INTO resources (asset, position, path_key, " RESOURCE_COLUMNS
                    ") VALUES (?, 0, ?, ?, ?, ?, ?, ?, ?)",
                    database_.lastInsertedRow(), std::string_view(originalNameKey(original.path)),
                    static_cast<std::int64_t>(original.type), std::string_view(original.originalFilename),
                    std::string_view(original.path), original.byteCount, storedHash(original),
                    storedModification(original));
}

void Catalogue::insertAlbum(const PhotosAlbum& album) {
  database_.execute("INSERT INTO albums (identifier, title) VALUES (?, ?)",
                    std::string_view(album.localIdentifier),
                    std::string_view(album.localizedTitle.value_or(std::string())));
}

std::optional<std::int64_t> Catalogue::rowOfAlbum(const std::string& identifier) {
  Rows rows = database_.query("SELECT id FROM albums WHERE identifier = ?", std::string_view(identifier));
  return rows.next() ? std::optional(rows.integer(0)) : std::nullopt;
}

bool Catalogue::addToAlbum(const std::string& albumIdentifier,
                           const std::vector<std::string>& assetIdentifiers) {
  const auto album = rowOfAlbum(albumIdentifier);
  if (!album) {
    return false;
  }
  for (const std::string& asset : assetIdentifiers) {
    database_.execute(
        "INSERT INTO memberships (album, asset) SELECT ?, id FROM assets WHERE identifier = ?"
        " ON CONFLICT DO NOTHING",
        *album, std::string_view(asset));
  }
  return true;
}

void Catalogue::setContent(const CataloguedOriginal& original) {
  const CataloguedResource& resource = original.resource;
  database_.execute(
      "UPDATE resources SET sha256 = ?, modified = ?"
      " WHERE asset = (SELECT id FROM assets WHERE identifier = ?) AND position = ? AND path = ?"
      " AND byte_count = ?",
      std::string_view(resource.content.value().sha256), stored(resource.content.value().modified),
      std::string_view(original.asset), original.position, std::string_view(resource.path),
      resource.byteCount);
}

void Catalogue::insertIntent(const Intent& intent) {
  const PhotosAsset& asset = intent.asset;
  const CataloguedResource& original = intent.original;
  database_.execute(
      "INSERT INTO intents (" ASSET_COLUMNS ", " RESOURCE_COLUMNS
      ", path_key, history, temporary_name, is_marked, album)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      std::string_view(asset.localIdentifier), storedDate(asset), static_cast<std::int64_t>(asset.mediaType),
      asset.pixelWidth, asset.pixelHeight, asset.duration, static_cast<std::int64_t>(original.type),
      std::string_view(original.originalFilename), std::string_view(original.path), original.byteCount,
      storedHash(original), storedModification(original), std::string_view(originalNameKey(original.path)),
      intent.history, std::string_view(intent.temporaryName), std::int64_t{intent.isMarked}, intent.album);
}

void Catalogue::moveIntent(const std::string& assetIdentifier, const std::string& path) {
  database_.execute("UPDATE intents SET path = ?, path_key = ? WHERE identifier = ?", std::string_view(path),
                    std::string_view(originalNameKey(path)), std::string_view(assetIdentifier));
}

void Catalogue::markIntent(const std::string& assetIdentifier, bool isMarked) {
  database_.execute("UPDATE intents SET is_marked = ? WHERE identifier = ?", std::int64_t{isMarked},
                    std::string_view(assetIdentifier));
}

void Catalogue::removeIntent(const std::string& assetIdentifier) {
  database_.execute("DELETE FROM intents WHERE identifier = ?", std::string_view(assetIdentifier));
}

// Setting the version, even to the same value, writes the first page.
void Catalogue::commitBarrier() {
  Transaction transaction = change();
  database_.run("PRAGMA user_version=" + std::to_string(newestCatalogueVersion));
  transaction.commit();
}

}  // namespace tolvander::platform::linux_
