#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Writes `bytes` to a file at `offset` and cuts the file off after them. Creates the file if it is missing,
// in an existing folder. When it returns, the bytes, the size and the name survive a power loss. Doesn't
// follow a symbolic link (ELOOP). Throws PosixError; the file's content from `offset` on is then undefined,
// and unchanged before it.
void writeDurably(const FileURL& file, std::uint64_t offset, std::span<const std::byte> bytes);

}  // namespace tolvander
