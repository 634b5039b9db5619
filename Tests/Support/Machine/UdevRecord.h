#pragma once

#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Leaves udev's record of a block device, in the form in which udevd leaves it for its readers, in a /run
// that has nothing else. `properties` are lines as "E:ID_FS_UUID=1234-ABCD\n". To be called in a private
// mount namespace.
void writeUdevRecord(const FileURL& device, const std::string& properties);

}  // namespace tolvander::tests
