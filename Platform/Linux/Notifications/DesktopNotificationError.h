#pragma once

#include <cstdint>
#include <string>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::platform::linux_ {

// A notification that the desktop didn't take.
class DesktopNotificationError final : public Error {
 public:
  enum class Case { serviceUnavailable };

  // `reason` is the bus's, for developers.
  static DesktopNotificationError serviceUnavailable(std::string reason) {
    return DesktopNotificationError(std::move(reason));
  }

  Case kind() const { return Case::serviceUnavailable; }
  std::string_view domain() const override { return "TolvanderPlatform.DesktopNotificationError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind()); }

 private:
  explicit DesktopNotificationError(std::string reason) : Error(std::move(reason)) {}
};

}  // namespace tolvander::platform::linux_
