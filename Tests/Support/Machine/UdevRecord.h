#pragma once

#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Writes udev's record of a block device, in the format of udevd, to an otherwise empty /run. `properties`
// are lines like "E:ID_FS_UUID=1234-ABCD\n". To be called in a private mount namespace.
void writeUdevRecord(const FileURL& device, const std::string& properties);

}  // namespace tolvander::tests
