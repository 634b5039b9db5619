#include "TolvanderCore/Foundation/AbsolutePath.h"

#include <utility>

namespace tolvander {

std::optional<FileURL> urlOfAbsolutePath(std::string path) {
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  return FileURL(std::move(path));
}

}  // namespace tolvander
