#include "TolvanderApp/Presentation/FailureText.h"

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Error.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander::app {

namespace {

std::string text(MediaProcessingError::Case errorCase) {
  using Case = MediaProcessingError::Case;
  switch (errorCase) {
    case Case::malformedJPEG:
      return "This picture is damaged: it doesn’t have the structure of a JPEG.";
    case Case::missingImageDimensions:
      return "This picture is damaged: it doesn’t say how large it is.";
    case Case::missingCaptureDate:
      return "Neither the picture nor its file says when it was taken.";
    case Case::exifBlockTooLarge:
      return "The picture’s new Exif block would be too large.";
  }
  return "This picture could not be processed.";
}

}  // namespace

std::string failureText(const std::exception& error) {
  if (const auto* processing = dynamic_cast<const MediaProcessingError*>(&error)) {
    return text(processing->kind());
  }
  const auto* own = dynamic_cast<const Error*>(&error);
  return printable(own != nullptr ? own->description().value_or(own->what()) : error.what());
}

std::string failureText(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return failureText(error);
  }
}

}  // namespace tolvander::app
