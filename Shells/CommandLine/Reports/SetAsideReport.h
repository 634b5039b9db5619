#pragma once

#include <string>

#include "TolvanderApp/SetAsideFile.h"

namespace tolvander::app {

// For people, with line ends: a line for each file that is set aside.
std::string setAsideText(const SetAsideFiles& files);

// For programs: an array of objects with "relativePath", "byteCount" and "sha256" (null for a file that could
// not be read).
std::string setAsideJSON(const SetAsideFiles& files);

// No media file of the volume, or none that is set aside, is meant by what the user typed.
std::string noSuchMediaFileText(const std::string& name);
std::string notSetAsideText(const std::string& name);

// How the files that hold up a card are left out.
std::string setAsideAdvice();

}  // namespace tolvander::app
