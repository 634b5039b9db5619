#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace tolvander {

// The base of every error that this system throws. An error is identified by its domain and code; the text of
// what() is for developers and for people at a terminal, and nothing ever branches on it.
class Error : public std::exception {
 public:
  // Who numbers the codes: "NSPOSIXErrorDomain", "NSCocoaErrorDomain", or "TolvanderCore." and the error's
  // type.
  virtual std::string_view domain() const = 0;

  // The number of this failure within its domain. For the system's own errors, the position of the case, from
  // 0.
  virtual std::int64_t code() const = 0;

  // The name of this failure within its domain, for programs: of the system's own errors the case's name
  // ("invalidVideo"), of a system call's the errno's ("ENOENT"). Empty for an error type whose cases aren't
  // told to programs.
  virtual std::string_view caseName() const { return {}; }

  // The words for the user. Absent where the system has none for this failure.
  virtual std::optional<std::string> description() const { return std::nullopt; }

  const char* what() const noexcept override { return diagnostic_.c_str(); }

 protected:
  explicit Error(std::string diagnostic) : diagnostic_(std::move(diagnostic)) {}

 private:
  std::string diagnostic_;
};

}  // namespace tolvander
