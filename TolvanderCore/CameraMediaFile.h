#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// One media file on a mounted volume.
struct CameraMediaFile {
  FileURL url;               // volumeURL and relativePath, so without links below the volume's root
  FileURL volumeURL;         // the volume on which it was found
  std::string relativePath;  // below the volume root, links resolved, without a leading slash
  std::string filename;      // the last component of `url`
  std::int64_t byteCount = 0;
  std::optional<Date> modifiedAt;  // content modification date, by cameraFileResourceValues

  // Whether the extension of `url` is that of a movie: "avi", "mov" or "mp4" in any case.
  bool isVideo() const;

  friend bool operator==(const CameraMediaFile&, const CameraMediaFile&) = default;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::CameraMediaFile> {
  std::size_t operator()(const tolvander::CameraMediaFile& file) const noexcept;
};
