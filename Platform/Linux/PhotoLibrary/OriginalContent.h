#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

using ChunkHandler = std::function<void(std::span<const std::byte> chunk)>;

// Gives an open file's bytes, from its present position to its end, in chunks of at most 1 MiB that are valid
// during the call. `url` is for the error. Throws PosixError and what the handler throws.
void forEachChunk(const OwnedDescriptor& file, const FileURL& url, const ChunkHandler& handle);

// The SHA-256 of these bytes, as 64 lower-case hexadecimal digits. `handle` is given each chunk too. Throws
// as above, and CancellationError, looked for before each chunk.
std::string sha256Of(
    const OwnedDescriptor& file, const FileURL& url, const CancellationToken& token,
    const ChunkHandler& handle = [](std::span<const std::byte>) {});

}  // namespace tolvander::platform::linux_
