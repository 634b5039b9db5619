#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/CameraAccessGrant.h"
#include "TolvanderCore/DeviceProfile.h"

namespace tolvander {

// The stored form of profiles and grants: a compact JSON array of objects whose keys are the field names.
// Optional fields are written only when present; bookmarks are Base64 text.
//
// Reading is strict: every key but "securityScopedBookmark", "volumeUUID" and "filenamePattern" is required,
// and one wrong element fails the whole list, with DecodingError.

std::string encodeDeviceProfiles(const std::vector<DeviceProfile>& profiles);
std::vector<DeviceProfile> decodeDeviceProfiles(std::span<const std::byte> json);

std::string encodeCameraAccessGrants(const std::vector<CameraAccessGrant>& grants);
std::vector<CameraAccessGrant> decodeCameraAccessGrants(std::span<const std::byte> json);

}  // namespace tolvander
