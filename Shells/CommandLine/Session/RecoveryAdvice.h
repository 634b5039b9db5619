#pragma once

#include <string>
#include <vector>

#include "Shells/CommandLine/Session/HomeFiles.h"

namespace tolvander::shell {

// After a failure: what helps where the import history or the photo library's catalogue can't be read, a
// sentence for each. Empty where both can be read. Changes nothing.
std::vector<std::string> recoveryAdvice(const HomeFiles& files);

}  // namespace tolvander::shell
