#pragma once

#include <string>

#include "TolvanderCore/FileURL.h"

namespace tolvander::shell {

// A path as a person types it: relative paths count from the current folder.
FileURL fileURLFromArgument(const std::string& path);

}  // namespace tolvander::shell
