#include "TolvanderApp/Platform/EjectError.h"

namespace tolvander::app {

std::optional<std::string> EjectError::description() const {
  switch (kind()) {
    case Case::busy:
      return "A file on it is still in use. Close it and try again.";
    case Case::notRemovable:
      return "It isn’t on a drive that can be ejected.";
    case Case::notPermitted:
      return "You don’t have permission to eject it.";
    case Case::unavailable:
      return "The system’s disk service isn’t available.";
    case Case::failed:
      break;
  }
  return "The system could not eject it.";
}

}  // namespace tolvander::app
