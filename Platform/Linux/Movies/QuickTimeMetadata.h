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

// When the movie was made, ISO 8601. The movie header's own dates are whole seconds from 1904 on in 32 bits
// as libavformat writes them, and can't hold every date of a file.
inline constexpr const char* creationDateKey = "com.apple.quicktime.creationdate";

// The rates that the source's header gives to its video tracks: "30000/1001", and one behind a space for each
// further track. A QuickTime movie says only how long each frame is shown; where all of them repeat, the rate
// doesn't follow from that.
inline constexpr const char* frameRatesKey = "com.tolvander.framerates";
std::string textOfFrameRates(const std::vector<AVRational>& rates);

// The rates in such a text; none where it is not well formed.
std::vector<AVRational> frameRatesFromText(std::string_view text);

// Adds metadata (QuickTime File Format, "Metadata") to a finished QuickTime movie whose last atom is "moov".
// Without items the movie stays as it is.
//
// Throws MovieError::exportFailed, also where the file would grow beyond `lengthLimit`, and
// CancellationError.
void appendMetadata(const MovieFile& movie, const std::vector<MetadataItem>& items, std::int64_t lengthLimit,
                    const CancellationToken& token);

}  // namespace tolvander::platform::linux_
