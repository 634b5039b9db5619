#pragma once

#include "TolvanderCore/Foundation/Error.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// A system call that failed. Its code is the errno value.
class PosixError final : public Error {
 public:
  static constexpr std::string_view errorDomain = "NSPOSIXErrorDomain";

  // `operation` is what was tried, as a verb ("open", "rename"), `url` what it was tried on.
  PosixError(int errnoValue, std::string_view operation, const FileURL& url);

  std::string_view domain() const override { return errorDomain; }
  std::int64_t code() const override { return errno_; }
  std::string_view caseName() const override;  // "unknown" for an errno value that has no name here

 private:
  int errno_;
};

// A failure that the platform's file layer numbers itself, where no system call's number says it.
class CocoaError final : public Error {
 public:
  static constexpr std::string_view errorDomain = "NSCocoaErrorDomain";

  enum class Code : std::int64_t {
    fileNoSuchFile = 4,
    fileReadUnknown = 256,
    fileReadNoPermission = 257,
    fileReadNoSuchFile = 260,
  };

  explicit CocoaError(Code code);

  std::string_view domain() const override { return errorDomain; }
  std::int64_t code() const override { return static_cast<std::int64_t>(code_); }

 private:
  Code code_;
};

}  // namespace tolvander
