#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderApp/AppSettings.h"
#include "TolvanderApp/Platform/Bookmarks.h"
#include "TolvanderCore/CameraAccessGrant.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// The saved cameras.
struct CamerasReport {
  struct Camera {
    CameraAccessGrant grant;
    std::optional<FileURL> volume;  // where it is now; absent while it isn't here
  };

  std::vector<Camera> cameras;
  std::optional<std::string> problem;  // why they can't all be read, in words for the user

  static CamerasReport of(const StoredSettings& settings, Bookmarks& bookmarks);

  // The identity of the camera that the user means by a name or an identity. Absent where there is none, or
  // more than one of the name.
  std::optional<UUID> named(const std::string& nameOrID) const;

  // For people, with line ends: a line for each camera.
  std::string text() const;

  // For programs: an object with "cameras", each with "id", "name", "isEnabled" and "volume" (a path, or null
  // while it isn't here), and "problem" (null, or words).
  std::string json() const;
};

// Why no camera is meant by what the user typed.
std::string noSuchCameraText(const std::string& nameOrID);
// The camera was saved, or was forgotten.
std::string cameraSavedText(const FileURL& volume);
std::string cameraForgottenText(const std::string& name);

}  // namespace tolvander::app
