#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

// A failure of the photo library itself. Its codes are the platform's.
class PhotosPlatformError final : public Error {
 public:
  enum class Case : std::int64_t {
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

  // `what` is for developers and for people at a terminal.
  PhotosPlatformError(Case code, std::string what) : Error(std::move(what)), case_(code) {}

  Case kind() const { return case_; }
  std::string_view domain() const override { return "PHPhotosErrorDomain"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }

 private:
  Case case_;
};

}  // namespace tolvander::app
