#pragma once

#include <optional>
#include <vector>

#include "TolvanderCore/Video/AVIWalk.h"

namespace tolvander {

// Private to AVIReading: which account of the chunks is right, stream by stream, by the table in
// Documentation/avi.md. Moves the accounts that it takes. Throws MovieError::unreadable where there is none
// or where there are two.
std::vector<AVIAccount> decideAVI(AVIBytes& bytes, const AVIHeaders& headers, AVIWalk& walk,
                                  std::optional<std::vector<AVIAccount>>& index, const FileURL& url,
                                  const CancellationToken& token);

}  // namespace tolvander
