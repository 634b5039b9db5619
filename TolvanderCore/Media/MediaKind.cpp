#include "TolvanderCore/MediaKind.h"

#include <algorithm>
#include <array>
#include <utility>

#include "TolvanderCore/Foundation/ASCII.h"

namespace tolvander {

FileType fileTypeOfExtension(std::string_view pathExtension) {
  using Entry = std::pair<std::string_view, FileType>;
  constexpr std::array<Entry, 8> types{{{"jpg", FileType::jpeg},
                                        {"jpeg", FileType::jpeg},
                                        {"png", FileType::png},
                                        {"heic", FileType::heic},
                                        {"heif", FileType::heic},
                                        {"avi", FileType::avi},
                                        {"mov", FileType::quickTime},
                                        {"mp4", FileType::mpeg4}}};
  const auto type = std::ranges::find(types, lowercasedASCII(pathExtension), &Entry::first);
  return type == types.end() ? FileType::other : type->second;
}

bool isVideoExtension(std::string_view pathExtension) {
  const FileType type = fileTypeOfExtension(pathExtension);
  return type == FileType::avi || type == FileType::quickTime || type == FileType::mpeg4;
}

}  // namespace tolvander
