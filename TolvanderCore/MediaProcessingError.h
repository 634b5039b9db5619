#pragma once

#include "TolvanderCore/Error.h"

namespace tolvander {

// Why a picture can't be planned or repaired. There are no words for the user: what a failure means for the
// file is decided where the file is imported.
class MediaProcessingError final : public Error {
 public:
  enum class Case {
    malformedJPEG,           // the bytes do not have the structure of a JPEG
    missingImageDimensions,  // no frame header gives a width and a height of at least 1
    missingCaptureDate,      // neither the picture nor the file says when it was taken
    exifBlockTooLarge,       // the new Exif block doesn't fit into one segment
  };

  explicit MediaProcessingError(Case errorCase) : Error(text(errorCase)), case_(errorCase) {}

  Case kind() const { return case_; }
  std::string_view domain() const override { return "TolvanderCore.MediaProcessingError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }

 private:
  static const char* text(Case errorCase) {
    switch (errorCase) {
      case Case::malformedJPEG:
        return "malformedJPEG";
      case Case::missingImageDimensions:
        return "missingImageDimensions";
      case Case::missingCaptureDate:
        return "missingCaptureDate";
      case Case::exifBlockTooLarge:
        return "exifBlockTooLarge";
    }
    return "MediaProcessingError";
  }

  Case case_;
};

}  // namespace tolvander
