#pragma once

#include <optional>
#include <vector>

#include "TolvanderCore/Video/AVIWalk.h"

namespace tolvander {

// Private to AVIReading: decides for each stream which account of its chunks is right, by the table in
// Documentation/avi.md. The accounts chosen are moved from the arguments. Throws MovieError::unreadable if
// none is right, or if two contradict each other and both could be.
std::vector<AVIAccount> decideAVI(AVIBytes& bytes, const AVIHeaders& headers, AVIWalk& walk,
                                  std::optional<std::vector<AVIAccount>>& index, const FileURL& url,
                                  const CancellationToken& token);

}  // namespace tolvander
