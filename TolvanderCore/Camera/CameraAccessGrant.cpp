#include "TolvanderCore/CameraAccessGrant.h"

#include "TolvanderCore/Foundation/HashCombine.h"

namespace tolvander {

DeviceProfile CameraAccessGrant::applying(DeviceProfile profile) const {
  profile.id = id;
  profile.name = name;
  profile.isEnabled = isEnabled;
  profile.securityScopedBookmark = bookmark;
  profile.matchRules.volumeUUID = volumeUUID;
  profile.matchRules.volumeNames = volumeNames;
  return profile;
}

}  // namespace tolvander

std::size_t std::hash<tolvander::CameraAccessGrant>::operator()(
    const tolvander::CameraAccessGrant& grant) const noexcept {
  return tolvander::hashOfFields(grant.id, grant.profileID, grant.name, grant.volumeUUID, grant.volumeNames,
                                 grant.bookmark, grant.isEnabled);
}
