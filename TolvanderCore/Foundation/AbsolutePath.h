#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// The URL of a path that was read from a file or that another program told: absent where the path is relative
// or empty, and where it has a NUL in it, at which the system would take the path to end.
std::optional<FileURL> urlOfAbsolutePath(std::string path);

}  // namespace tolvander
