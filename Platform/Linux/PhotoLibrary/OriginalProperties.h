#pragma once

#include <cstdint>
#include <optional>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// What the library knows of a picture or film from its file.
struct OriginalProperties {
  std::int64_t pixelWidth = 0;  // 0 where the file doesn't tell
  std::int64_t pixelHeight = 0;
  double duration = 0;                              // seconds; 0 for pictures
  std::optional<Date> creationDate = std::nullopt;  // when it was taken; absent where the file does not tell

  friend bool operator==(const OriginalProperties&, const OriginalProperties&) = default;
};

// Reads an original. A date without a zone is one of `zone`. A file that is damaged or of an unknown kind has
// the empty properties; of a picture of more than 64 MiB its first 64 MiB count. Throws PosixError where the
// file can't be read.
OriginalProperties originalProperties(const FileURL& file, app::PhotosMediaType type, const TimeZone& zone);

}  // namespace tolvander::platform::linux_
