#pragma once

#include <string_view>

namespace tolvander {

// The types of files that are treated differently, by their extension. What a file really is its bytes say.
enum class FileType {
  jpeg,       // "jpg", "jpeg"
  png,        // "png"
  heic,       // "heic", "heif"
  avi,        // "avi"
  quickTime,  // "mov"
  mpeg4,      // "mp4"
  other
};

// The type that goes with an extension (no dot, any case).
FileType fileTypeOfExtension(std::string_view pathExtension);

// Whether files with this extension (no dot, any case) count as videos: "avi", "mov" and "mp4".
bool isVideoExtension(std::string_view pathExtension);

}  // namespace tolvander
