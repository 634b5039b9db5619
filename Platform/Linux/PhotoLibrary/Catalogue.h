#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Database.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"

namespace tolvander::platform::linux_ {

// The content of an original when it was last hashed.
struct CataloguedContent {
  std::string sha256;  // 64 lower-case hexadecimal digits
  Date modified;       // the file's modification date at that time, as the file system stores it

  friend bool operator==(const CataloguedContent&, const CataloguedContent&) = default;
};

// One file of an asset, as stored in the catalogue.
struct CataloguedResource {
  app::PhotosResourceType type = app::PhotosResourceType::other;
  std::string originalFilename;
  std::string path;  // relative to the library's folder
  std::int64_t byteCount = 0;
  // Absent until the file is hashed, if it was catalogued by a version that stored no hashes.
  std::optional<CataloguedContent> content = std::nullopt;

  friend bool operator==(const CataloguedResource&, const CataloguedResource&) = default;
};

// A write-ahead intent: a file that is about to become an original, its name in the folder for incoming
// files, and all that will be catalogued of it. original.path is the name that it will get.
struct Intent {
  std::optional<std::string> history;  // UUID of the history that marks it; absent if not prepared
  std::string temporaryName;           // in the folder for incoming files
  bool isMarked = false;               // the history had marked it when it was to be moved into place
  std::optional<std::string> album;    // identifier of the album that it will be added to
  app::PhotosAsset asset;
  CataloguedResource original;

  friend bool operator==(const Intent&, const Intent&) = default;
};

// One file of an asset, and the key of its row.
struct CataloguedOriginal {
  std::string asset;          // its identifier
  std::int64_t row = 0;       // of the asset
  std::int64_t position = 0;  // among the files of the asset, from 0
  CataloguedResource resource;
};

struct CatalogueTotals {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  std::int64_t bytes = 0;  // sum of the sizes of the originals when they were imported
};

struct CataloguedAlbum {
  app::PhotosAlbum album;
  std::int64_t assetCount = 0;
};

// The queries and changes of Library.sqlite, the catalogue of the photo library. The queries answer the
// fetches of app::PhotoLibrary, which says what they return; CatalogueSchema.h describes the tables. One
// connection, for one thread at a time. All operations throw DatabaseError.
class Catalogue {
 public:
  // Opens an existing catalogue. One of an older version is not changed: queries read it like one of the
  // newest version, and changes fail. Throws PhotosPlatformError if the version is unknown or the file is
  // empty. `busyTimeout` is how long each statement waits for another connection's lock.
  Catalogue(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Creates the catalogue if the file is missing or empty, and upgrades one of an older version. Throws
  // PhotosPlatformError if the version is unknown, without changing the file.
  static void createOrUpgrade(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Whether the file exists and is empty, so that the catalogue has to be created. Throws as above.
  static bool isUnmade(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Whether it is a catalogue of this program with a version newer than this program knows. False if the
  // file is missing or unreadable.
  static bool isOfNewerVersion(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Copies the catalogue without its intents to a new file, which has no write-ahead log.
  void copyWithoutIntents(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Whether a file of that path, relative to the library, and size in bytes exists.
  using OriginalTest = std::function<bool(const std::string& path, std::int64_t byteCount)>;

  // Assets all of whose originals pass the test. In the order of `options`; in that of `identifiers`,
  // without those that are unknown or repeated; in the order in which they were added to the album. The test
  // is called only for originals of assets up to the last one that is returned, so that a limit saves calls.
  std::vector<app::PhotosAsset> assets(const app::PhotosFetchOptions& options, const OriginalTest& isThere);
  std::vector<app::PhotosAsset> assets(const std::vector<std::string>& identifiers,
                                       const OriginalTest& isThere);
  std::vector<app::PhotosAsset> assetsOfAlbum(const std::string& identifier, const OriginalTest& isThere);
  // In the order in which they were created. With a title, only albums of exactly this title.
  std::vector<app::PhotosAlbum> albums(const std::optional<std::string>& title);
  // In the order of `identifiers`, without those that are unknown or repeated.
  std::vector<app::PhotosAlbum> albumsWithIdentifiers(const std::vector<std::string>& identifiers);
  // The files of an asset by position; empty if there is no such asset. `index` counts from 0.
  std::vector<app::PhotosAssetResource> resources(const std::string& assetIdentifier);
  std::vector<CataloguedResource> originals(const std::string& assetIdentifier);
  std::optional<CataloguedResource> resource(const std::string& assetIdentifier, std::int64_t index);
  // The original of each of these assets that has exactly one.
  std::vector<CataloguedOriginal> soleOriginals(const std::vector<std::string>& assetIdentifiers);

  // Calls `visit` with every asset and its files, existing or not, oldest first, until it returns false.
  using Visitor = std::function<bool(const app::PhotosAsset&, const std::vector<CataloguedResource>&)>;
  void forEachAsset(const Visitor& visit);
  // At most `limit` originals in the order of their rows, starting after `last`, or with the first one.
  // Empty at the end. For iterating over all originals without holding a read transaction.
  std::vector<CataloguedOriginal> originalsAfter(const std::optional<CataloguedOriginal>& last,
                                                 std::size_t limit);
  CatalogueTotals totals();

  // Counts only assets whose originals pass the test.
  std::vector<CataloguedAlbum> albumsWithCounts(const OriginalTest& isThere);
  bool isEmpty();  // whether there is no asset

  // Runs an integrity check, which reads the whole file. Returns SQLite's messages; empty if the file is
  // sound.
  std::vector<std::string> problems();

  // Whether an original has this path. Paths that differ only in case are equal.
  bool hasPath(const std::string& path);

  // The same for the paths of intents.
  bool intendsPath(const std::string& path);

  // By the identifiers of their assets.
  std::vector<Intent> intents();

  // Assets with an original that had this SHA-256 (64 lower-case hexadecimal digits) when it was hashed.
  std::vector<std::pair<app::PhotosAsset, CataloguedResource>> assetsWithContent(const std::string& sha256);

  // The changes. Each must be called within a Transaction, which change() begins.
  Transaction change() { return {database_, Transaction::Kind::writing}; }
  void insertAsset(const app::PhotosAsset& asset, const CataloguedResource& original);
  void insertAlbum(const app::PhotosAlbum& album);
  // Returns false if there is no such album. Skips assets that are unknown or already in it.
  bool addToAlbum(const std::string& albumIdentifier, const std::vector<std::string>& assetIdentifiers);
  // Stores the content of `original`, which must have one, unless the path or size in the catalogue has
  // changed since `original` was read.
  void setContent(const CataloguedOriginal& original);
  void insertIntent(const Intent& intent);
  // The three do nothing if there is no such intent. moveIntent sets the path of its original.
  void moveIntent(const std::string& assetIdentifier, const std::string& path);
  void markIntent(const std::string& assetIdentifier, bool isMarked);
  void removeIntent(const std::string& assetIdentifier);

  // Commits a transaction that changes nothing. If a commit failed before, its changes cannot reappear after
  // a crash once this has returned.
  void commitBarrier();

 private:
  std::optional<std::int64_t> rowOfAlbum(const std::string& identifier);

  Database database_;
};

}  // namespace tolvander::platform::linux_
