#pragma once

#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// The extension, in lower case and without a dot, that goes with a file's first bytes: "png", "heic", "mov",
// "mp4", "avi", and "jpg" for everything else. Throws PosixError.
std::string extensionByContent(const FileURL& file);

}  // namespace tolvander::platform::linux_
