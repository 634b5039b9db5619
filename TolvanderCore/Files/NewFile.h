#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Makes a file of `bytes` where nothing is yet: whatever has that name already, a link that leads nowhere
// among it, stays as it is. Others may see the file grow; when it can't be completed, it is gone again. Not
// made durable. Throws PosixError (EEXIST where something is there), and CancellationError, looked for before
// every mebibyte.
void writeNewFile(const FileURL& url, std::span<const std::byte> bytes, const CancellationToken& token = {});

// Makes a copy of a file of any size in the same way. Throws also MediaStagingError::sourceChanged where the
// file's SHA-256 isn't `expectedFingerprint`, and what WholeFile throws.
void copyToNewFile(const FileURL& source, const FileURL& url, std::string_view expectedFingerprint,
                   const CancellationToken& token = {});

}  // namespace tolvander
