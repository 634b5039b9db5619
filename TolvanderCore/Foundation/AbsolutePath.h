#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// The URL of a path that was read from a file or received from another program. Absent if the path is
// relative or empty, or contains a NUL byte, at which system calls would end the path.
std::optional<FileURL> urlOfAbsolutePath(std::string path);

}  // namespace tolvander
