#pragma once

#include <optional>
#include <vector>

#include "TolvanderCore/Video/AVIWalk.h"

namespace tolvander {

// Private to AVIReading: reads the index of an AVI.

// One account for each stream of the headers: from the OpenDML indexes if every video and sound stream has a
// usable one, otherwise from `idx1`. Absent if neither is usable. Throws MovieError::unreadable if there are
// too many entries.
std::optional<std::vector<AVIAccount>> readAVIIndex(AVIBytes& chunkBytes, AVIBytes& indexBytes,
                                                    const AVIHeaders& headers,
                                                    const std::optional<AVIWalk::OldIndex>& oldIndex,
                                                    const FileURL& url, const CancellationToken& token);

}  // namespace tolvander
