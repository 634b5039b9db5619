#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/CameraLibraryReview.h"
#include "TolvanderCore/DetectedDevice.h"
#include "TolvanderCore/Foundation/FileURL.h"

// What the screens show of cameras, volumes and the Trash.
namespace tolvander::app {

// A saved camera that is mounted now.
struct ConnectedDeviceSummary {
  FileURL volumeURL;
  std::string displayName;
  bool isCharmera = false;

  std::string id() const { return volumeURL.standardized().path(); }

  friend bool operator==(const ConnectedDeviceSummary&, const ConnectedDeviceSummary&) = default;
};

// A mounted volume that could be added as a camera.
struct RemovableVolumeSummary {
  FileURL volumeURL;
  std::string displayName;

  std::string id() const { return volumeURL.standardized().path(); }

  friend bool operator==(const RemovableVolumeSummary&, const RemovableVolumeSummary&) = default;
};

// The files of one camera that the program moved to the Trash and that still lie there.
struct DeviceTrashSummary {
  std::string id;  // the camera's identifier, or its volume's name
  std::string displayName;
  std::int64_t count = 0;

  friend bool operator==(const DeviceTrashSummary&, const DeviceTrashSummary&) = default;
};

// What a check against the library found for one camera.
struct DeviceLibraryReview {
  DetectedDevice device;
  CameraLibraryReview review;
  std::vector<std::string> setAside = {};  // paths of files that the user has left out
  // Source fingerprints of interrupted imports, also of other cameras, whose prepared files the library has.
  std::set<std::string> finishedByNextSync = {};

  friend bool operator==(const DeviceLibraryReview&, const DeviceLibraryReview&) = default;
};

// A volume that the system doesn't let the program read.
struct RemovableVolumeAccessIssue {
  std::string volumeName;

  friend bool operator==(const RemovableVolumeAccessIssue&, const RemovableVolumeAccessIssue&) = default;
};

}  // namespace tolvander::app
