#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Writes `bytes` to a file from `offset` on, and lets nothing be behind them. The file is made where it is
// missing, in a folder that exists. When it returns, bytes, size and name survive a power loss. A link in the
// file's place is not followed (ELOOP). Throws PosixError; the file may then hold anything from `offset` on,
// and is as it was before it.
void writeDurably(const FileURL& file, std::uint64_t offset, std::span<const std::byte> bytes);

}  // namespace tolvander
