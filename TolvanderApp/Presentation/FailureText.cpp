#include "TolvanderApp/Presentation/FailureText.h"

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Error.h"
#include "TolvanderCore/JSONWriter.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/MediaStagingError.h"

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
    case Case::pictureTooLarge:
      return "This picture is too large to be repaired: it may have at most " +
             byteCountText(static_cast<std::int64_t>(CharmeraMediaProcessor::maximumRepairBytes)) +
             ". The camera original is unchanged.";
  }
  return "This picture could not be processed.";
}

std::string text(const MediaStagingError& error) {
  using Case = MediaStagingError::Case;
  switch (error.kind()) {
    case Case::unsupportedCharmeraVideo:
      return "“" + printable(error.filename()) + "” is a video that can’t be imported.";
    case Case::invalidStagingLocation:
      return "Tolvander could not prepare temporary copies. The camera originals are unchanged.";
    case Case::sourceChanged:
      break;
  }
  return "This file changed while it was being read, or it isn’t as large as it says. It was not imported. "
         "Try "
         "again.";
}

}  // namespace

std::string failureText(const std::exception& error) {
  if (const auto* processing = dynamic_cast<const MediaProcessingError*>(&error)) {
    return text(processing->kind());
  }
  if (const auto* staging = dynamic_cast<const MediaStagingError*>(&error)) {
    return text(*staging);
  }
  const auto* own = dynamic_cast<const Error*>(&error);
  return printable(own != nullptr ? own->description().value_or(own->what()) : error.what());
}

std::string failureJSON(const std::exception& error) {
  const auto* own = dynamic_cast<const Error*>(&error);
  const std::string_view caseName = own != nullptr ? own->caseName() : std::string_view();
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginObject();
    writer.key("error");
    writer.beginObject();
    if (!caseName.empty()) {
      writer.string("case", caseName);
    }
    writer.string("message", failureText(error));
    writer.endObject();
    writer.endObject();
  });
}

std::string failureText(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return failureText(error);
  }
}

}  // namespace tolvander::app
