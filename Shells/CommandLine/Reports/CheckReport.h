#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Shells/CommandLine/Reports/RunResult.h"
#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What a check of cameras against the library found. Files that are the same picture or video count once.
struct CheckReport {
  using Paths = std::vector<std::string>;  // below the volume

  struct Camera {
    FileURL volumeURL{"/"};
    std::string name;
    std::int64_t inLibrary = 0;
    std::int64_t likelyDuplicates = 0;  // in the library as far as name and date tell
    std::int64_t recognized = 0;        // found by this check, and worth remembering
    Paths missing;                      // recorded once, and gone from the library
    Paths newFiles;
    Paths needReview;            // without a verdict
    Paths interrupted;           // of an import that was cut short, and not found in the library
    Paths finishedByNextSync;    // those of them that the library holds prepared
    Paths setAside;              // left out by the user
    bool reachedLimits = false;  // why files are without a verdict: there was no time to look for all

    // How many files could be imported.
    std::int64_t importable() const;
    // The interrupted ones that the next sync can't finish.
    Paths paused() const;
    // The model imports nothing from a camera with files that it can't tell.
    bool isComplete() const { return needReview.empty() && interrupted.empty(); }
  };

  std::vector<Camera> cameras;

  static CheckReport of(const std::vector<DeviceLibraryReview>& reviews);

  // For people, with line ends: a table with a line for each camera, why a check is not complete, with the
  // paths of the paused imports and what can be done about them, and which files are set aside.
  std::string text() const;

  // For programs, on one line without its end: {"result":{…}} with the keys of the result, "imported", and
  // "cameras", each with "volume", "name", the numbers "inLibrary", "likelyDuplicates", "recognized",
  // "missing", "new", "needReview" and "interrupted", and "files" with the paths for the last four, for
  // "finishedByNextSync" (a part of "interrupted") and for "setAside".
  std::string json(const RunResult& result, std::int64_t imported = 0) const;
};

// Why nothing is imported from a camera.
std::string cannotImportText(const CheckReport::Camera& camera);
std::string nothingImportedText();
std::string nothingMissingText();

}  // namespace tolvander::app
