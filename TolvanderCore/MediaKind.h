#pragma once

#include <string_view>

namespace tolvander {

// Whether files with this extension (no dot, any case) count as videos: "avi", "mov" and "mp4".
bool isVideoExtension(std::string_view pathExtension);

}  // namespace tolvander
