#pragma once

#include <dirent.h>

#include <memory>

#include "Platform/Linux/Foundation/CHandleDeleter.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Opens a folder for reading. Follows links. Throws PosixError.
OwnedDescriptor openFolder(const FileURL& folder);

using FolderStream = std::unique_ptr<DIR, CHandleDeleter<closedir>>;

// A stream of the entries of an open folder, for readdir(3), from the descriptor's current position. Takes
// ownership of the descriptor. Null on an error, with errno; if `folder` is no descriptor, errno is
// unchanged.
FolderStream folderStream(OwnedDescriptor folder);

}  // namespace tolvander::platform::linux_
