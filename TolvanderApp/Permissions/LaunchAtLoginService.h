#pragma once

#include <exception>

#include "TolvanderApp/Platform/LoginItem.h"

// Whether the program is started at login.
namespace tolvander::app::LaunchAtLoginService {

// Whether the user has it switched on, though the system may still want their approval.
bool isOn(LoginItemStatus status);

// Registers the login item or removes it, and removes its older form in both cases. Main thread only. Throws
// the platform's error where the item can't be changed; removing tries both forms before it throws the first
// failure. An older form that can't be removed doesn't keep the item from being registered: that failure is
// returned, and null without one.
std::exception_ptr setEnabled(LoginItem& item, bool enabled);

}  // namespace tolvander::app::LaunchAtLoginService
