#pragma once

#include <functional>
#include <string>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/HashCombine.h"

namespace tolvander {

// A volume that has been recognised as a camera, with its media files.
struct DetectedDevice {
  FileURL volumeURL;
  std::string displayName;
  DeviceProfile profile;
  std::vector<CameraMediaFile> files;  // in the order of the listing

  friend bool operator==(const DetectedDevice&, const DetectedDevice&) = default;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::DetectedDevice> {
  std::size_t operator()(const tolvander::DetectedDevice& device) const noexcept {
    return tolvander::hashOfFields(device.volumeURL, device.displayName, device.profile, device.files);
  }
};
