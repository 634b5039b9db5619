#pragma once

#include <string>

#include "Platform/Linux/Descriptor.h"
#include "Platform/Linux/PhotoLibrary/Catalogue.h"

namespace tolvander::platform::linux_ {

// Names of files that have none yet: a UUID and ".part".
std::string newIncomingName();
bool isIncomingName(std::string_view name);

// What the catalogue keeps of an open file that is about to be called `path`. Throws PosixError.
Placement placementOf(const Descriptor& file, const std::string& path);

// Whether the entry of this name in an open folder is the file of that placement, of which a power loss may
// have taken the end. On file systems whose inode numbers don't outlive a mount, the modification date
// decides (to 2 seconds, their step), and an empty file there can also be what was made to keep the name.
// False for anything that can't be looked at.
bool isFileOf(const Placement& placement, const Descriptor& folder, const std::string& name);

// Gives a file another name, which nothing may have yet: false where something has it. Throws PosixError.
//
// Where the file system has no such renaming, an empty file is made to keep the name, and then replaced; in
// between, that is what others see.
bool renameWithoutReplacing(const Descriptor& fromFolder, const std::string& from, const Descriptor& toFolder,
                            const std::string& to, const FileURL& folder);

}  // namespace tolvander::platform::linux_
