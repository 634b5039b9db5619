#pragma once

#include <dirent.h>

#include <memory>

#include "Platform/Linux/Foundation/CHandleDeleter.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Opens a folder for reading; links are followed. Throws PosixError.
OwnedDescriptor openFolder(const FileURL& folder);

using FolderStream = std::unique_ptr<DIR, CHandleDeleter<closedir>>;

// A stream of the entries of an open folder, for readdir(3). It starts at the descriptor's position and takes
// the descriptor over. Null where `folder` is no descriptor, with errno as before the call, and where no
// stream can be made, with errno.
FolderStream folderStream(OwnedDescriptor folder);

}  // namespace tolvander::platform::linux_
