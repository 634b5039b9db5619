#pragma once

#include <cstddef>
#include <span>

#include "Platform/Linux/Foundation/Descriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// `url` names the file or folder in errors. Both throw PosixError.

// Writes all of the bytes from the file's present position.
void writeAll(const Descriptor& file, std::span<const std::byte> bytes, const FileURL& url);

// Makes a file's content, or the names in a folder, survive a power loss (fsync).
void makeDurable(const Descriptor& descriptor, const FileURL& url);

// As above, of a folder that isn't open.
void makeFolderDurable(const FileURL& folder);

}  // namespace tolvander::platform::linux_
