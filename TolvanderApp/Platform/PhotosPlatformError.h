#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander::app {

enum class PhotosPlatformErrorCase : std::int64_t {
  internalError = -1,
  userCancelled = 3072,
  libraryVolumeOffline = 3114,
  networkAccessRequired = 3164,  // the original is not on this machine
  identifierNotFound = 3201,
  accessRestricted = 3310,
  accessUserDenied = 3311,
  invalidResource = 3302,
  notEnoughSpace = 3305
};

// A failure of the photo library itself. Its codes are the platform's.
class PhotosPlatformError final : public CaseError<PhotosPlatformErrorCase> {
 public:
  // `what` is for developers and for people at a terminal.
  PhotosPlatformError(Case code, std::string what) : CaseError(code, std::move(what)) {}

  std::string_view domain() const override { return "PHPhotosErrorDomain"; }
};

}  // namespace tolvander::app
