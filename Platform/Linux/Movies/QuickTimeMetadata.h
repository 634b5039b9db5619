#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

struct MetadataItem {
  std::string key;
  std::string text;
};

// The creation date, ISO 8601. The movie header has only 32-bit seconds since 1904, as libavformat writes
// it, and can't hold every date.
inline constexpr const char* creationDateKey = "com.apple.quicktime.creationdate";

// The frame rates in the source's header: "30000/1001", separated by spaces for several video tracks. A
// QuickTime movie only has the duration of each frame, from which the rate doesn't follow if all frames
// repeat.
inline constexpr const char* frameRatesKey = "com.tolvander.framerates";
std::string textOfFrameRates(const std::vector<AVRational>& rates);

// Parses such a text; empty if it is malformed.
std::vector<AVRational> frameRatesFromText(std::string_view text);

// Adds metadata (QuickTime File Format, "Metadata") to a finished QuickTime movie whose last atom is "moov".
// Without items the movie stays as it is.
//
// Throws MovieError::exportFailed, also where the file would grow beyond `lengthLimit`, and
// CancellationError.
void appendMetadata(const MovieFile& movie, const std::vector<MetadataItem>& items, std::int64_t lengthLimit,
                    const CancellationToken& token);

}  // namespace tolvander::platform::linux_
