#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Shells/CommandLine/Reports/RunResult.h"
#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderApp/ReviewCounts.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What a check of cameras against the library found.
struct CheckReport {
  using Paths = std::vector<std::string>;  // below the volume

  struct Camera {
    FileURL volumeURL{"/"};
    std::string name;
    ReviewCounts counts{};
    Paths missing;  // recorded once, and gone from the library
    Paths newFiles;
    Paths needReview;          // without a verdict
    Paths interrupted;         // of an import that was cut short, and not found in the library
    Paths finishedByNextSync;  // those of them that the library holds prepared
    Paths setAside;            // left out by the user

    // The interrupted ones that the next sync can't finish.
    Paths paused() const;
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
