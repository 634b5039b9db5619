#pragma once

#include <cstdint>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Changes to the file tree that needn't survive a power loss. All throw PosixError, and are safe on every
// thread.

// Creates one folder that only this user may enter. The folder above it must exist. EEXIST if the name is
// taken.
void createPrivateDirectory(const FileURL& directory);

// Removes a file, a symbolic link (not its target), or a folder with everything in it. Does nothing if there
// is nothing of this name.
void removeItem(const FileURL& url);

// The same for callers that can ignore a failure: because they report an earlier one, or because leftovers
// are removed later.
void removeItemIgnoringErrors(const FileURL& url) noexcept;

void setContentModificationDate(const FileURL& url, Date date);

// Throws PosixError ENOSPC if the file system of an existing folder reports less free space than `byteCount`
// bytes. Some file systems report nothing, and quotas aren't included, so that writing can still fail for
// lack of space.
void requireFreeSpace(const FileURL& folder, std::uint64_t byteCount);

}  // namespace tolvander
