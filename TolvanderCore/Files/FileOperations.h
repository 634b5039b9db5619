#pragma once

#include <cstdint>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Changes to the file tree that need no power-loss promise. All throw PosixError and are safe on every
// thread.

// Creates one folder that only this user may enter, in a folder that exists. EEXIST where there is something
// already.
void createPrivateDirectory(const FileURL& directory);

// Removes a file, a link (and not what it leads to), or a folder with everything in it. Nothing there is no
// error.
void removeItem(const FileURL& url);

// The same where a failure is no matter, because another one is on its way or because what stays is swept
// later.
void removeItemIgnoringErrors(const FileURL& url) noexcept;

void setContentModificationDate(const FileURL& url, Date date);

// Throws PosixError ENOSPC where the file system of an existing folder says that it has not room for so many
// bytes. Some file systems don't say it, and quotas don't show: writing can fail for want of room all the
// same.
void requireFreeSpace(const FileURL& folder, std::uint64_t byteCount);

}  // namespace tolvander
