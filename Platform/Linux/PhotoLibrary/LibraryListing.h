#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// An original, with the path where users find it.
struct ListedOriginal {
  FileURL file;
  std::string originalFilename;
  std::int64_t byteCount = 0;  // when it was imported

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

// An original that differs from what was imported.
struct FaultyOriginal {
  FileURL file;
  std::string assetIdentifier;
  std::string reason;  // for the user, without a full stop; may be empty

  friend bool operator==(const FaultyOriginal&, const FaultyOriginal&) = default;
};

// The result of checking the whole library.
struct LibraryVerification {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  // Originals whose content had nothing to be compared with: they were never hashed, and the history doesn't
  // know their hashes.
  std::int64_t hashedForTheFirstTime = 0;
  std::vector<std::string> catalogueProblems;  // SQLite's messages
  std::vector<FaultyOriginal> missing;         // there is no file
  std::vector<FaultyOriginal> changed;         // another size, or not a regular file
  std::vector<FaultyOriginal> damaged;         // the same size, but other content
  std::vector<FaultyOriginal> unreadable;      // can't be read, or behind a broken link
  std::vector<FileURL> unknown;                // in the folder of originals, but not catalogued
  std::vector<FileURL> unfinished;             // of interrupted imports, not catalogued

  bool isSound() const {
    return catalogueProblems.empty() && missing.empty() && changed.empty() && damaged.empty() &&
           unreadable.empty();
  }
};

// The progress of a verification.
struct VerificationProgress {
  std::int64_t originals = 0;
  std::int64_t originalsInAll = 0;
  std::int64_t bytes = 0;  // read so far
  std::int64_t bytesInAll = 0;
};

struct VerificationOptions {
  // If false, only sizes are compared.
  bool readsContent = true;
  // The SHA-256 of originals that the history of imports knows, by the identifiers of their assets. Used for
  // originals that were never hashed.
  std::map<std::string, std::string> knownContents{};
  // Called after each original and each mebibyte, on the calling thread.
  std::function<void(const VerificationProgress&)> progress = [](const VerificationProgress&) {};
};

// Called for one asset after the other. Returns whether to continue.
using AssetVisitor = std::function<bool(const ListedAsset&)>;

}  // namespace tolvander::platform::linux_
