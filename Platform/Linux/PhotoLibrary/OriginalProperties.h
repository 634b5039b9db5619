#pragma once

#include <cstdint>
#include <optional>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// Properties of a picture or film that the library reads from its file.
struct OriginalProperties {
  std::int64_t pixelWidth = 0;  // 0 if unknown
  std::int64_t pixelHeight = 0;
  double duration = 0;                              // seconds; 0 for pictures
  std::optional<Date> creationDate = std::nullopt;  // when it was taken

  friend bool operator==(const OriginalProperties&, const OriginalProperties&) = default;
};

// Reads an original. A date without a time zone is taken as local time in `zone`. A file that is damaged or
// of an unknown format has no properties. Only the first 64 MiB of a picture are read. Throws PosixError if
// the file can't be read.
OriginalProperties originalProperties(const FileURL& file, app::PhotosMediaType type, const TimeZone& zone);

}  // namespace tolvander::platform::linux_
