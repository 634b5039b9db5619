#include "TolvanderApp/Platform/HomeInUseError.h"

namespace tolvander::app {

std::string HomeHolder::text() const { return command + " (process " + std::to_string(process) + ")"; }

std::optional<std::string> HomeInUseError::description() const {
  return "Tolvander is already at work on these files: " +
         (holder_ ? holder_->text() : std::string("another process")) +
         ". Nothing was changed. Wait until it has ended, or stop it, and try again.";
}

}  // namespace tolvander::app
