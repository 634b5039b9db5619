#pragma once

#include "Shells/CommandLine/Command.h"

namespace tolvander::shell {

// The whole program. To be called once, before the process has other threads.
ExitStatus runCommandLine(int argumentCount, const char* const* arguments);

}  // namespace tolvander::shell
