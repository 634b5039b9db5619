#pragma once

#include <array>
#include <cstddef>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class MediaProcessingErrorCase {
  malformedJPEG,           // the bytes do not have the structure of a JPEG
  missingImageDimensions,  // no frame header gives a width and a height of at least 1
  missingCaptureDate,      // neither the picture nor the file says when it was taken
  exifBlockTooLarge,       // the new Exif block doesn't fit into one segment
  pictureTooLarge,         // more bytes than are repaired in memory
};

// Why a picture can't be planned or repaired. It has no text for the user: the import decides what a failure
// means for the file.
class MediaProcessingError final : public CaseError<MediaProcessingErrorCase> {
 public:
  explicit MediaProcessingError(Case errorCase) : CaseError(errorCase, std::string(rawText(errorCase))) {}

  std::string_view domain() const override { return "TolvanderCore.MediaProcessingError"; }
  std::string_view caseName() const override { return rawText(kind()); }

 private:
  static std::string_view rawText(Case errorCase) {
    constexpr std::array<std::string_view, 5> texts{"malformedJPEG", "missingImageDimensions",
                                                    "missingCaptureDate", "exifBlockTooLarge",
                                                    "pictureTooLarge"};
    return texts.at(static_cast<std::size_t>(errorCase));
  }
};

[[noreturn]] inline void throwMalformedJPEG() {
  throw MediaProcessingError(MediaProcessingError::Case::malformedJPEG);
}

// The result of `read`, or an empty value if it throws a MediaProcessingError.
template <typename Read>
auto unlessMalformed(Read read) -> decltype(read()) {
  try {
    return read();
  } catch (const MediaProcessingError&) {
    return {};
  }
}

}  // namespace tolvander
