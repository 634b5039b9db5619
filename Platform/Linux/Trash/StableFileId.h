#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// The status of the entry `name` of a folder, without following a link; of the descriptor itself if the name
// is empty. Absent on an error, with errno.
std::optional<app::FileStatus> fileStatus(int descriptor, const std::string& name);

// Identifies an open regular file on its volume, also after a remount: the inode number if the file system
// stores it, otherwise 64 bits of the SHA-256 of what does survive a remount (times of birth and
// modification, size, first 64 KiB). `url` names the file in errors. Throws PosixError if the file can't be
// read.
std::uint64_t stableFileId(const OwnedDescriptor& file, const FileURL& url);

// Identifies a file system without a UUID, if it has a number (statvfs, f_fsid) that survives a remount. The
// text has no defined format.
std::optional<std::string> stableFileSystemId(const FileURL& directory);

}  // namespace tolvander::platform::linux_
