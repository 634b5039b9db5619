#pragma once

#include <cstdint>
#include <string_view>

#include "Platform/Linux/MovieFile.h"
#include "TolvanderCore/Cancellation.h"

namespace tolvander::platform::linux_ {

// Adds metadata to a finished QuickTime movie whose last atom is "moov": the key
// com.apple.quicktime.creationdate with a text. The movie header's own dates are whole seconds from 1904 on
// in 32 bits as libavformat writes them, and can't hold every date of a file.
//
// Throws MovieError::exportFailed, also where the file would grow beyond `lengthLimit`, and
// CancellationError.
void appendCreationDate(const MovieFile& movie, std::string_view text, std::int64_t lengthLimit,
                        const CancellationToken& token);

}  // namespace tolvander::platform::linux_
