#include "TolvanderCore/MediaSourceError.h"

#include "TolvanderCore/SystemNames.h"

namespace tolvander {

MediaSourceError MediaSourceError::volumeAccessDenied(std::string volumeName) {
  return MediaSourceError(std::move(volumeName));
}

MediaSourceError::MediaSourceError(std::string volumeName)
    : CaseError(Case::volumeAccessDenied, "no permission to read the volume"),
      volumeName_(std::move(volumeName)) {}

std::string MediaSourceError::describe(const SystemNames& names) const {
  return "Tolvander cannot read " + volumeName_ + ". " + names.removableVolumeAdvice;
}

}  // namespace tolvander
