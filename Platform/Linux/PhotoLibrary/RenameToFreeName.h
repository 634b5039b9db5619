#pragma once

#include <string>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Renames a file, from one open folder to another on the same file system, to a name that nothing has.
// Returns false if something has it. Throws PosixError, in which `folder` is named. Not made durable.
//
// If the file system can't rename without replacing, an empty file is created to reserve the name, and the
// rename then replaces it. Others can see the empty file in between.
bool renameToFreeName(const OwnedDescriptor& fromFolder, const std::string& from,
                      const OwnedDescriptor& toFolder, const std::string& to, const FileURL& folder);

}  // namespace tolvander::platform::linux_
