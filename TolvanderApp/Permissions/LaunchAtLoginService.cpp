#include "TolvanderApp/Permissions/LaunchAtLoginService.h"

#include <functional>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app::LaunchAtLoginService {

namespace {

// Null where it did not fail.
std::exception_ptr failureOf(const std::function<void()>& change) {
  try {
    change();
  } catch (const Error&) {
    return std::current_exception();
  }
  return nullptr;
}

std::exception_ptr removeOlder(LoginItem& item) {
  return isOn(item.olderStatus()) ? failureOf([&] { item.removeOlder(); }) : nullptr;
}

}  // namespace

bool isOn(LoginItemStatus status) {
  return status == LoginItemStatus::enabled || status == LoginItemStatus::requiresApproval;
}

std::exception_ptr setEnabled(LoginItem& item, bool enabled) {
  if (enabled) {
    const std::exception_ptr olderFailure = removeOlder(item);
    if (item.status() != LoginItemStatus::enabled) {
      item.setEnabled(true);
    }
    return olderFailure;
  }
  const std::exception_ptr failure =
      isOn(item.status()) ? failureOf([&] { item.setEnabled(false); }) : nullptr;
  const std::exception_ptr olderFailure = removeOlder(item);
  if (failure || olderFailure) {
    std::rethrow_exception(failure ? failure : olderFailure);
  }
  return nullptr;
}

}  // namespace tolvander::app::LaunchAtLoginService
