#pragma once

#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// The extension, in lower case without a dot, for the format of a file by its first bytes: "png", "heic",
// "mov", "mp4", "avi", and "jpg" for anything else. Throws PosixError.
std::string extensionByContent(const FileURL& file);

}  // namespace tolvander::platform::linux_
