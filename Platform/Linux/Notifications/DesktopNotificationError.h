#pragma once

#include <cstdint>
#include <string>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander::platform::linux_ {

enum class DesktopNotificationErrorCase { serviceUnavailable };

// The desktop didn't accept a notification.
class DesktopNotificationError final : public CaseError<DesktopNotificationErrorCase> {
 public:
  // `reason` is the bus's error text, for developers.
  static DesktopNotificationError serviceUnavailable(std::string reason) {
    return DesktopNotificationError(std::move(reason));
  }

  std::string_view domain() const override { return "TolvanderPlatform.DesktopNotificationError"; }

 private:
  explicit DesktopNotificationError(std::string reason)
      : CaseError(Case::serviceUnavailable, std::move(reason)) {}
};

}  // namespace tolvander::platform::linux_
