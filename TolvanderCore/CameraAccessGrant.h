#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander {

// The user's saved permission for one particular volume.
struct CameraAccessGrant {
  UUID id;         // also the identity of the profile that is made from this grant
  UUID profileID;  // the profile on which the grant is based
  std::string name;
  std::optional<std::string> volumeUUID;
  std::vector<std::string> volumeNames;
  std::vector<std::byte> bookmark;  // saved access to the volume; opaque to the engine
  bool isEnabled = false;

  // A copy of `profile` that is bound to the granted volume: it has the grant's id, name, enabled state,
  // bookmark, volume UUID and volume names, and the profile's rules about media.
  DeviceProfile applying(DeviceProfile profile) const;

  friend bool operator==(const CameraAccessGrant&, const CameraAccessGrant&) = default;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::CameraAccessGrant> {
  std::size_t operator()(const tolvander::CameraAccessGrant& grant) const noexcept;
};
