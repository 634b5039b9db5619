#pragma once

#include <functional>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// A lock (flock) belongs to the file and not to its name. After a locked file was deleted or replaced,
// another process can lock the new file of the name, and both believe that they have the lock. These
// functions find that out.

// Whether an open file is the one that `url` names now. False where it can't be told.
bool isStillNamed(const OwnedDescriptor& file, const FileURL& url);

// Opens the file and locks it, once more for as long as the file that was locked is no longer the one that
// `url` names. `lock` answers false where another one has the lock; then there is no file. Throws what `open`
// and `lock` throw.
OwnedDescriptor openAndLock(const FileURL& url, const std::function<OwnedDescriptor()>& open,
                            const std::function<bool(const OwnedDescriptor&)>& lock);

}  // namespace tolvander::platform::linux_
