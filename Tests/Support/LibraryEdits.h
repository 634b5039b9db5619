#pragma once

#include <string>

#include "TolvanderCore/FileURL.h"

namespace tolvander::tests {

// Removes every picture that came as `originalFilename` from the library in this folder, its file and its
// place in the catalogue, as a user would who deletes it there. Returns how many there were.
int deleteFromLibrary(const FileURL& library, const std::string& originalFilename);

}  // namespace tolvander::tests
