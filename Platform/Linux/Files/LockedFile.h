#pragma once

#include <functional>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// A lock belongs to a file, not to its name. After a locked file was deleted or replaced, another process
// can lock the new file of this name, and both would assume that they have the lock. These functions detect
// that.

// Whether `url` is the path of the open file now. False on an error.
bool isStillNamed(const OwnedDescriptor& file, const FileURL& url);

// Opens and locks the file, and repeats that while the locked file is not the one at `url`. `lock` returns
// false if another process has the lock; then there is no descriptor. Throws what `open` and `lock` throw.
OwnedDescriptor openAndLock(const FileURL& url, const std::function<OwnedDescriptor()>& open,
                            const std::function<bool(const OwnedDescriptor&)>& lock);

}  // namespace tolvander::platform::linux_
