#pragma once

#include "Platform/Linux/Text/LinuxNames.h"
#include "Platform/MacOS/MacOSNames.h"
#include "TolvanderCore/SystemNames.h"

// The systems whose names the program knows. Tests of a text compare it under both.
namespace tolvander::tests {

inline const SystemNames macOS = platform::macos::systemNames();
inline const SystemNames linuxDesktop = platform::linux_::systemNames();

}  // namespace tolvander::tests
