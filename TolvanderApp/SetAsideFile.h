#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::app {

// A camera file that the user wants left alone, because it is damaged and holds up its card. It is known by
// its content wherever it turns up; one that can't be read is known by where it lies.
struct SetAsideFile {
  // Of a file that can't be read.
  struct Place {
    std::string volumeUUID;
    std::optional<Date> modifiedAt;  // whole seconds

    friend bool operator==(const Place&, const Place&) = default;
  };

  std::string relativePath;  // below the volume, when it was set aside
  std::int64_t byteCount = 0;
  std::optional<std::string> sha256;  // lower-case hexadecimal; absent where `place` is there
  std::optional<Place> place;

  // Reads the file. `volumeUUID` is empty for a volume without one. Blocks. Throws CancellationError.
  static SetAsideFile of(const CameraMediaFile& file, const std::string& volumeUUID,
                         const CancellationToken& token);

  // Whether this is the file. Reads it only where the sizes are the same. A file that can't be read is
  // recognized by its place alone. Blocks. Throws CancellationError.
  bool isSameAs(const CameraMediaFile& file, const std::string& volumeUUID,
                const CancellationToken& token) const;

  friend bool operator==(const SetAsideFile&, const SetAsideFile&) = default;
};

using SetAsideFiles = std::vector<SetAsideFile>;

// Takes the files that are set aside out of `files`, and gives their relative paths in the same order.
// Blocks. Throws CancellationError.
std::vector<std::string> takeSetAside(std::vector<CameraMediaFile>& files, const SetAsideFiles& setAside,
                                      const std::string& volumeUUID, const CancellationToken& token);

// The stored form: an array of objects with "relativePath", "byteCount" and either "sha256", or "volumeUUID"
// and "modifiedAt" (ISO 8601; missing where the file has no date). Reading throws DecodingError.
std::string encodeSetAsideFiles(const SetAsideFiles& files);
SetAsideFiles decodeSetAsideFiles(std::span<const std::byte> json);

}  // namespace tolvander::app
