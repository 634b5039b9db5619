#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// What the kernel says of the entry `name` of a folder, a link not followed; of the descriptor itself where
// the name is empty. Absent where it can't be looked at, with errno set.
std::optional<app::FileStatus> fileStatus(int descriptor, const std::string& name);

// What identifies an open regular file on its volume for good: the inode number where the file system keeps
// it, and otherwise 64 bits of the SHA-256 of what outlasts a remount (the times of birth and modification,
// the size, the first 64 KiB). `url` names the file in errors. Throws PosixError where the file can't be
// read.
std::uint64_t stableFileId(const OwnedDescriptor& file, const FileURL& url);

// The number that tells a file system from others, where it has one that outlasts a remount; text without a
// given form. For volumes whose UUID nobody knows.
std::optional<std::string> stableFileSystemId(const FileURL& directory);

}  // namespace tolvander::platform::linux_
