#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Foundation/FileURL.h"

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

// An original that is not what it was when it came.
struct FaultyOriginal {
  FileURL file;
  std::string assetIdentifier;
  std::string reason;  // for people, without a full stop at its end; empty where nothing is to be said

  friend bool operator==(const FaultyOriginal&, const FaultyOriginal&) = default;
};

// What a look at the whole library has found. Only the problems of the catalogue are faults of the library;
// the rest is what people may do with their files, and what disks do to them.
struct LibraryVerification {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  // Originals with nothing to compare their content with: it was never hashed, and the history doesn't know
  // it.
  std::int64_t hashedForTheFirstTime = 0;
  std::vector<std::string> catalogueProblems;  // in SQLite's words
  std::vector<FaultyOriginal> missing;         // nothing is there
  std::vector<FaultyOriginal> changed;         // of another size than when they came, or no file
  std::vector<FaultyOriginal> damaged;         // of that size, and of other content
  std::vector<FaultyOriginal> unreadable;  // there, or behind a link that leads nowhere, and not to be read
  std::vector<FileURL> unknown;            // in the folder of originals, and not catalogued
  std::vector<FileURL> unfinished;         // of imports that were interrupted, and not catalogued

  bool isSound() const {
    return catalogueProblems.empty() && missing.empty() && changed.empty() && damaged.empty() &&
           unreadable.empty();
  }
};

// How far a look at the whole library is.
struct VerificationProgress {
  std::int64_t originals = 0;
  std::int64_t originalsInAll = 0;
  std::int64_t bytes = 0;  // read
  std::int64_t bytesInAll = 0;
};

struct VerificationOptions {
  // Without it only sizes are compared.
  bool readsContent = true;
  // The SHA-256 of the original of an asset, by the asset's identifier, as far as a history of imports knows
  // it. For originals that were never hashed.
  std::map<std::string, std::string> knownContents{};
  // Called after each original and each mebibyte, on the calling thread.
  std::function<void(const VerificationProgress&)> progress = [](const VerificationProgress&) {};
};

// Told of one asset after the other; answers whether to go on.
using AssetVisitor = std::function<bool(const ListedAsset&)>;

}  // namespace tolvander::platform::linux_
