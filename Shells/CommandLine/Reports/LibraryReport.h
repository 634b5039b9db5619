#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What is in a photo library that keeps its pictures as files.
struct LibraryReport {
  struct Asset {
    std::string identifier;
    std::optional<Date> creationDate;
    bool isVideo = false;
    std::int64_t byteCount = 0;
    std::string filename;  // that it came with
    FileURL file{"/"};

    friend bool operator==(const Asset&, const Asset&) = default;
  };

  struct Album {
    std::string title;
    std::int64_t assetCount = 0;
  };

  // Which assets are shown.
  struct Selection {
    std::optional<Date> from{};           // included; assets without a date are left out by either end
    std::optional<Date> to{};             // included
    std::optional<std::int64_t> limit{};  // the newest so many
  };

  FileURL folder{"/"};
  bool exists = false;
  std::vector<Asset> assets;  // the newest first
  std::vector<Album> albums;

  // Sorts the assets and keeps those that are asked for.
  void select(const Selection& selection);

  // For people, with line ends: how many there are of each kind; a line for each asset; a line for each
  // album.
  std::string text() const;
  std::string textOfAssets() const;
  std::string textOfAlbums() const;

  // For programs: one object with "folder", "exists" and "photos", "videos", "bytes" and "albums", all
  // numbers; one with "assets", each with "identifier", "creationDate" (ISO 8601, or null), "kind",
  // "byteCount", "filename" and "file"; one with "albums", each with "title" and "assetCount".
  std::string json() const;
  std::string jsonOfAssets() const;
  std::string jsonOfAlbums() const;
};

// What a look at every file of it has found.
struct LibraryVerificationReport {
  struct Fault {
    FileURL file{"/"};
    std::string reason;  // empty, or a phrase without a full stop
    std::string remedy;  // a sentence
  };

  std::int64_t assets = 0;
  std::int64_t originals = 0;
  bool comparesSizesOnly = false;
  std::int64_t hashedForTheFirstTime = 0;  // so that nothing tells whether they changed before
  std::vector<std::string> catalogueProblems;
  std::vector<Fault> missing;
  std::vector<Fault> changed;  // of another size, or no file
  std::vector<Fault> damaged;  // of other content
  std::vector<Fault> unreadable;
  std::vector<FileURL> unknown;     // no fault: people may add files
  std::vector<FileURL> unfinished;  // no fault: interrupted imports left them, and a sync may complete them

  bool isSound() const {
    return catalogueProblems.empty() && missing.empty() && changed.empty() && damaged.empty() &&
           unreadable.empty();
  }

  std::string text() const;
  // An object whose keys are the fields, and "isSound". Of a fault only the file's path is given there;
  // "faults" has an object for each of them, with "file", "reason" and "remedy".
  std::string json() const;
};

// How far it is, for a terminal: "Checking photo library: 12 files, 12 MB of 1.1 GB".
std::string verificationProgressText(std::int64_t originals, std::int64_t bytes, std::int64_t bytesInAll);

std::string noSuchAlbumText(const std::string& title);

}  // namespace tolvander::app
