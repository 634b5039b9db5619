#pragma once

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Makes the content of a file, or the names in a folder, survive a power loss (fsync). Blocks until the
// device has it. Returns whether that succeeded, with errno; false for no descriptor.
bool tryMakeDurable(const OwnedDescriptor& descriptor);

// The same, but a failure throws PosixError. `url` names the file or folder in the error.
void makeDurable(const OwnedDescriptor& descriptor, const FileURL& url);

// Makes the names in a folder that isn't open survive a power loss. Throws PosixError.
void makeFolderDurable(const FileURL& folder);

}  // namespace tolvander::platform::linux_
