#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Shells/CommandLine/Reports/CamerasReport.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderApp/PhotosPermissionStatus.h"
#include "TolvanderApp/Platform/HomeInUseError.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/ImportHistorySummary.h"

namespace tolvander::app {

// While a camera's files are read for those whose imports are paused, for a terminal: "Looking for paused
// imports on “CARD”: file 12 of 304".
std::string pausedFileProgressText(const std::string& camera, std::size_t number, std::size_t total);

// The state of one home: what is set up, what was done, and where everything is kept.
struct StatusReport {
  struct PausedFile {
    std::string camera;  // its name
    std::string relativePath;

    friend bool operator==(const PausedFile&, const PausedFile&) = default;
  };

  bool isSetUp = false;
  std::optional<HomeHolder> holder;  // the process that is at work on it now
  PhotosPermissionStatus photos = PhotosPermissionStatus::notDetermined;
  CamerasReport cameras;
  std::optional<ImportHistorySummary> history;  // absent where it can't be read
  std::int64_t finishedByNextSync = 0;  // imports that were cut short and that the library holds prepared
  std::vector<PausedFile> pausedFiles;  // whose imports were cut short, and that hold up their cards
  std::int64_t pausedElsewhere = 0;     // the same, on no camera that is connected
  std::vector<std::string> setAside;    // paths of files that the user has left out
  std::optional<LastSyncReceipt> lastSync;
  std::optional<std::string> album;  // into which items go
  bool movesToTrash = false;
  bool ejects = false;
  FileURL historyFile{"/"};
  FileURL settingsFile{"/"};
  FileURL libraryFolder{"/"};
  std::optional<std::string> libraryProblem{};  // why its catalogue can't be used; absent where it can be
  FileURL logFolder{"/"};

  // For people, with line ends.
  std::string text() const;

  // For programs: one object whose keys are the fields; "savedCameras" and "connectedCameras" are numbers in
  // the place of the cameras, "photos" is a word, "history" has "photos" and "videos", "lastSync" has
  // "count", "videoCount", "deviceName" and "completedAt" (ISO 8601), "holder" "process" and "command", each
  // of "pausedFiles" "camera" and "relativePath". What is absent is null.
  std::string json() const;
};

}  // namespace tolvander::app
