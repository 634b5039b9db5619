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

// What an original held when it was hashed.
struct CataloguedContent {
  std::string sha256;  // 64 lower-case hexadecimal digits
  Date modified;       // the file's modification date at that time, as its file system keeps it

  friend bool operator==(const CataloguedContent&, const CataloguedContent&) = default;
};

// One file of an asset, as the catalogue knows it.
struct CataloguedResource {
  app::PhotosResourceType type = app::PhotosResourceType::other;
  std::string originalFilename;
  std::string path;  // relative to the library's folder
  std::int64_t byteCount = 0;
  // Absent of a file that came with a version of the catalogue that had no hashes, until it is hashed.
  std::optional<CataloguedContent> content = std::nullopt;

  friend bool operator==(const CataloguedResource&, const CataloguedResource&) = default;
};

// A file that is to become an original: where it waits until then, and all that is catalogued when it does.
// Its path is the name that it is to get.
struct Intent {
  std::optional<std::string> history;  // that marks it; absent where the change was not prepared
  std::string temporaryName;           // in the folder for incoming files
  bool isMarked = false;               // the history had its mark when the file was to get its name
  std::optional<std::string> album;
  app::PhotosAsset asset;
  CataloguedResource original;

  friend bool operator==(const Intent&, const Intent&) = default;
};

// One file of an asset, and where its row is.
struct CataloguedOriginal {
  std::string asset;     // its identifier
  std::int64_t row = 0;  // of the asset
  std::int64_t position = 0;
  CataloguedResource resource;
};

struct CatalogueTotals {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  std::int64_t bytes = 0;  // of the originals, as they came
};

struct CataloguedAlbum {
  app::PhotosAlbum album;
  std::int64_t assetCount = 0;
};

// What is in the library: the questions to Library.sqlite and the changes of it. One connection; used by one
// thread at a time. Everything throws DatabaseError.
class Catalogue {
 public:
  // Opens the catalogue. One of an older version is left as it is: it answers questions as if it were of the
  // newest one, and can't be changed. Throws PhotosPlatformError of one that this program doesn't know, and
  // of one in which nothing is yet.
  Catalogue(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Makes it where there is none, and takes an older one to the newest form. Throws PhotosPlatformError of
  // one that this program doesn't know, and leaves that as it is.
  static void createOrUpgrade(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Whether nothing is in the file yet, so that it has to be made before it can be opened. Throws as above.
  static bool isUnmade(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Whether it is a catalogue of this program, of a version that comes after all that it knows. False where
  // there is none, or none that can be read.
  static bool isOfNewerVersion(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Makes a copy without the intents, in a file that isn't there yet, with no log beside it.
  void copyWithoutIntents(const FileURL& file, std::chrono::milliseconds busyTimeout);

  // Answers whether an original is where the catalogue says, and of the catalogued size.
  using OriginalTest = std::function<bool(const std::string& path, std::int64_t byteCount)>;

  // Only assets of which every original passes the test, which is asked about no others than the fetch comes
  // upon: a limited one ends with the last asset that it returns.
  std::vector<app::PhotosAsset> assets(const app::PhotosFetchOptions& options, const OriginalTest& isThere);
  std::vector<app::PhotosAsset> assets(const std::vector<std::string>& identifiers,
                                       const OriginalTest& isThere);
  std::vector<app::PhotosAsset> assetsOfAlbum(const std::string& identifier, const OriginalTest& isThere);
  std::vector<app::PhotosAlbum> albums(const std::optional<std::string>& title);
  std::vector<app::PhotosAlbum> albumsWithIdentifiers(const std::vector<std::string>& identifiers);
  std::vector<app::PhotosAssetResource> resources(const std::string& assetIdentifier);
  std::vector<CataloguedResource> originals(const std::string& assetIdentifier);
  std::optional<CataloguedResource> resource(const std::string& assetIdentifier, std::int64_t index);
  // Of each of these assets that consists of one file, that file.
  std::vector<CataloguedOriginal> soleOriginals(const std::vector<std::string>& assetIdentifiers);

  // Every asset with its files, whether they are there or not, oldest first, until `visit` answers false.
  using Visitor = std::function<bool(const app::PhotosAsset&, const std::vector<CataloguedResource>&)>;
  void forEachAsset(const Visitor& visit);
  // At most `limit` originals, in the order in which they came, from the first one or behind `last`; none
  // behind the last one. For a walk over all of them that holds no snapshot.
  std::vector<CataloguedOriginal> originalsAfter(const std::optional<CataloguedOriginal>& last,
                                                 std::size_t limit);
  CatalogueTotals totals();

  // The counts are of assets whose originals pass the test.
  std::vector<CataloguedAlbum> albumsWithCounts(const OriginalTest& isThere);
  bool isEmpty();  // no asset is catalogued

  // What is wrong with the file itself; empty when it is sound. Reads all of it.
  std::vector<std::string> problems();

  // Whether a file of this path, or of one that differs in case alone, is catalogued.
  bool hasPath(const std::string& path);

  // Whether an intent has that path, or one that differs in case alone.
  bool intendsPath(const std::string& path);

  std::vector<Intent> intents();

  // Assets with an original that held these bytes when it was hashed.
  std::vector<std::pair<app::PhotosAsset, CataloguedResource>> assetsWithContent(const std::string& sha256);

  // The changes. Each belongs in a Transaction.
  Transaction change() { return {database_, Transaction::Kind::writing}; }
  void insertAsset(const app::PhotosAsset& asset, const CataloguedResource& original);
  void insertAlbum(const app::PhotosAlbum& album);
  // False where there is no such album. Passes over members and assets that aren't there.
  bool addToAlbum(const std::string& albumIdentifier, const std::vector<std::string>& assetIdentifiers);
  // Keeps the content of an original that has one, unless its path and size have changed since it was read.
  void setContent(const CataloguedOriginal& original);
  void insertIntent(const Intent& intent);
  void moveIntent(const std::string& assetIdentifier, const std::string& path);
  void markIntent(const std::string& assetIdentifier, bool isMarked);
  void removeIntent(const std::string& assetIdentifier);

  // Commits a transaction that says nothing. When it returns, no transaction whose commit failed before it
  // comes back after a crash.
  void commitBarrier();

 private:
  std::optional<std::int64_t> rowOfAlbum(const std::string& identifier);

  Database database_;
};

}  // namespace tolvander::platform::linux_
