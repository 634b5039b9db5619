#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::platform::linux_ {

// An error of a message bus or of a service. Callers decide by its D-Bus error name, such as
// "org.freedesktop.DBus.Error.ServiceUnknown"; the text is for developers.
class BusError final : public Error {
 public:
  BusError(std::string name, std::string text)
      : Error(name + ": " + text), name_(std::move(name)), text_(std::move(text)) {}

  // For a negative errno value that a libsystemd function returned: ETIMEDOUT is
  // "org.freedesktop.DBus.Error.Timeout", ECONNRESET "org.freedesktop.DBus.Error.Disconnected", and so on
  // (sd-bus-errors(3)); values without a D-Bus name become "System.Error.ENOTCONN" and the like.
  static BusError ofResult(int result, std::string_view step);

  const std::string& name() const { return name_; }
  const std::string& text() const { return text_; }

  std::string_view domain() const override { return "TolvanderPlatform.BusError"; }
  std::int64_t code() const override { return 0; }

 private:
  std::string name_;
  std::string text_;
};

// The names of errors that these classes throw themselves.
inline constexpr const char* busInvalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr const char* busInvalidSignature = "org.freedesktop.DBus.Error.InvalidSignature";

// Returns the result of a libsystemd function. Throws BusError if it is negative.
int checkedBusResult(int result, std::string_view step);

}  // namespace tolvander::platform::linux_
