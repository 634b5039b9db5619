#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/FileURL.h"

namespace tolvander::platform::linux_ {

// A file of the library, where people find it.
struct ListedOriginal {
  FileURL file;
  std::string originalFilename;
  std::int64_t byteCount = 0;  // as it came

  friend bool operator==(const ListedOriginal&, const ListedOriginal&) = default;
};

struct ListedAsset {
  app::PhotosAsset asset;
  std::vector<ListedOriginal> originals;
};

struct ListedAlbum {
  app::PhotosAlbum album;
  std::int64_t assetCount = 0;
};

// What a look at the whole library has found. Only the problems of the catalogue are faults of the library;
// the rest is what people may do with their files.
struct LibraryVerification {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  std::vector<std::string> catalogueProblems;  // in SQLite's words
  std::vector<FileURL> missing;                // catalogued, and not there or not to be opened
  std::vector<FileURL> changed;                // of another size than when they came
  std::vector<FileURL> unknown;                // in the folder of originals, and not catalogued

  bool isSound() const { return catalogueProblems.empty() && missing.empty() && changed.empty(); }
};

// Told of one asset after the other; answers whether to go on.
using AssetVisitor = std::function<bool(const ListedAsset&)>;

}  // namespace tolvander::platform::linux_
