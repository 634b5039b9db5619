#include "TolvanderCore/MediaKind.h"

#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

bool isVideoExtension(std::string_view pathExtension) {
  const std::string extension = lowercased(pathExtension);
  return extension == "avi" || extension == "mov" || extension == "mp4";
}

}  // namespace tolvander
