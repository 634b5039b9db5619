#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Creates a file with the content `bytes`. Anything that has this name already, including a dangling symbolic
// link, stays as it is. Other processes may see the file while it grows; if it can't be completed, it is
// removed. Not made durable. Throws PosixError (EEXIST if the name is taken), and CancellationError, checked
// before every mebibyte.
void writeNewFile(const FileURL& url, std::span<const std::byte> bytes, const CancellationToken& token = {});

// Creates a copy of a file of any size in the same way. Also throws MediaStagingError::sourceChanged if the
// file's SHA-256 isn't `expectedFingerprint` (64 lower-case hexadecimal digits), PosixError ENOSPC if the
// copy doesn't fit, and what WholeFile throws.
void copyToNewFile(const FileURL& source, const FileURL& url, std::string_view expectedFingerprint,
                   const CancellationToken& token = {});

}  // namespace tolvander
