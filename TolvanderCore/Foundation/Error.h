#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace tolvander {

// The base of every error that this system throws. An error is identified by its domain and code. The text of
// what() is for developers and for users of a terminal; the program's behaviour never depends on it.
class Error : public std::exception {
 public:
  // The owner of the codes: "NSPOSIXErrorDomain", "NSCocoaErrorDomain", or "TolvanderCore." and the error's
  // type.
  virtual std::string_view domain() const = 0;

  // The number of this failure within its domain. For the system's own errors, the value of the case.
  virtual std::int64_t code() const = 0;

  // The name of this failure within its domain, for programs that read the JSON output: the name of the case
  // ("invalidVideo") or of the errno value ("ENOENT"). Empty for error types whose cases are not part of the
  // output.
  virtual std::string_view caseName() const { return {}; }

  // The text for the user. Absent if there is none for this failure.
  virtual std::optional<std::string> description() const { return std::nullopt; }

  const char* what() const noexcept override { return diagnostic_.c_str(); }

 protected:
  explicit Error(std::string diagnostic) : diagnostic_(std::move(diagnostic)) {}

 private:
  std::string diagnostic_;
};

}  // namespace tolvander
