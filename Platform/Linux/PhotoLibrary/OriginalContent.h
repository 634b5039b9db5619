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

// Calls `handle` with the bytes of an open file, from its current position to its end, in chunks of at most
// 1 MiB that are valid during the call. `url` names the file in errors. Throws PosixError and what the
// handler throws.
void forEachChunk(const OwnedDescriptor& file, const FileURL& url, const ChunkHandler& handle);

// The fingerprint (FileFingerprinter) of these bytes. Also calls `handle` with each chunk. Throws as above,
// and CancellationError, checked before each chunk.
std::string sha256Of(
    const OwnedDescriptor& file, const FileURL& url, const CancellationToken& token,
    const ChunkHandler& handle = [](std::span<const std::byte>) {});

}  // namespace tolvander::platform::linux_
