#include "TolvanderApp/Platform/PhotoLibraryError.h"

namespace tolvander::app {

namespace {

std::string textOf(PhotoLibraryError::Case kind) {
  switch (kind) {
    case PhotoLibraryError::Case::accessDenied:
      return "Photos access was not granted.";
    case PhotoLibraryError::Case::albumCouldNotBeCreated:
      return "The selected Photos album could not be created.";
    case PhotoLibraryError::Case::changeFailed:
      return "Photos could not complete the requested change.";
    case PhotoLibraryError::Case::inconsistentChangeResult:
      break;
  }
  return "Photos returned an uncertain change result. Choose Check Photos to review it before importing "
         "again.";
}

}  // namespace

PhotoLibraryError::PhotoLibraryError(Case kind) : CaseError(kind, textOf(kind)) {}

std::optional<std::string> PhotoLibraryError::description() const { return textOf(kind()); }

}  // namespace tolvander::app
