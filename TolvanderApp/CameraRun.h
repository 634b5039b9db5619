#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

// What one sync or restoration brought from one camera, also where it did not come to its end.
struct CameraRun {
  enum class End { running, done, stopped, cameraWentAway, failed };

  FileURL volumeURL;
  std::string name;
  std::int64_t fileCount = 0;            // media files on the camera
  std::optional<std::int64_t> newCount;  // items to import; absent until all files were compared
  MediaCounts imported;                  // recorded in the history
  std::vector<std::string> setAside;     // paths of files that the user has left out
  // Names of files that a sync left out as likely to be in the library; none where it did not come to its
  // end.
  std::vector<std::string> likelyCopies{};
  End end = End::running;

  friend bool operator==(const CameraRun&, const CameraRun&) = default;
};

}  // namespace tolvander::app
