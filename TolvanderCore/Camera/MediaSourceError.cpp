#include "TolvanderCore/MediaSourceError.h"

namespace tolvander {

MediaSourceError MediaSourceError::volumeAccessDenied(std::string volumeName) {
  return MediaSourceError(std::move(volumeName));
}

MediaSourceError::MediaSourceError(std::string volumeName)
    : CaseError(Case::volumeAccessDenied, "no permission to read the volume"),
      volumeName_(std::move(volumeName)) {}

std::optional<std::string> MediaSourceError::description() const {
  return "Tolvander cannot read " + volumeName_ + ". Allow removable-volume access in System Settings.";
}

}  // namespace tolvander
