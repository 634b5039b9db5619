#include "TolvanderCore/MediaImportError.h"

namespace tolvander {

MediaImportError::MediaImportError(Case kind)
    : CaseError(kind, "the library did not take every file of a batch") {}

std::optional<std::string> MediaImportError::description() const {
  return "Photos did not import every file. Check the camera and try again.";
}

}  // namespace tolvander
