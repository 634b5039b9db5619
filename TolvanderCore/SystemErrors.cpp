#include "TolvanderCore/SystemErrors.h"

#include <system_error>

namespace tolvander {

PosixError::PosixError(int errnoValue, std::string_view operation, const FileURL& url)
    : Error("cannot " + std::string(operation) + " " + url.path() + ": " +
            std::generic_category().message(errnoValue)),
      errno_(errnoValue) {}

CocoaError::CocoaError(Code code)
    : Error("file error " + std::to_string(static_cast<std::int64_t>(code))), code_(code) {}

}  // namespace tolvander
