#pragma once

#include <optional>
#include <vector>

#include "TolvanderCore/Video/AVIWalk.h"

namespace tolvander {

// Private to AVIReading: what the index of an AVI says.

// One account for each stream of the headers. By the OpenDML indexes where every video and sound stream has
// one and all are usable, else by `idx1`. Absent where neither is usable. Throws MovieError::unreadable where
// there are too many entries.
std::optional<std::vector<AVIAccount>> readAVIIndex(AVIBytes& chunkBytes, AVIBytes& indexBytes,
                                                    const AVIHeaders& headers,
                                                    const std::optional<AVIWalk::OldIndex>& oldIndex,
                                                    const FileURL& url, const CancellationToken& token);

}  // namespace tolvander
