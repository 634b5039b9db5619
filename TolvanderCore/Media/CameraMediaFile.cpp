#include "TolvanderCore/CameraMediaFile.h"

#include "TolvanderCore/Foundation/HashCombine.h"
#include "TolvanderCore/MediaKind.h"

namespace tolvander {

bool CameraMediaFile::isVideo() const { return isVideoExtension(url.pathExtension()); }

}  // namespace tolvander

std::size_t std::hash<tolvander::CameraMediaFile>::operator()(
    const tolvander::CameraMediaFile& file) const noexcept {
  return tolvander::hashOfFields(file.url, file.volumeURL, file.relativePath, file.filename, file.byteCount,
                                 file.modifiedAt);
}
