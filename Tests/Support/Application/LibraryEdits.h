#pragma once

#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// What people do to the library in this folder with a file manager.

// Where every picture lies, or lay, that came as `originalFilename`.
std::vector<FileURL> originalsInLibrary(const FileURL& library, const std::string& originalFilename);

// Deletes the files of these pictures. Returns how many there were.
int deleteFromLibrary(const FileURL& library, const std::string& originalFilename);

}  // namespace tolvander::tests
